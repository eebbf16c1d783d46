// libpng is the reference: whatever a file holds, both read the same rows.

#include <array>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "decoder/formats/png/png.h"
#include "decoder/formats/png/png_passes.h"
#include "tests/decoder/formats/png/libpng_reader.h"
#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::uint8_t grey = 0;
constexpr std::uint8_t rgb = 2;
constexpr std::uint8_t indexed = 3;
constexpr std::uint8_t greyAlpha = 4;
constexpr std::uint8_t rgba = 6;

std::size_t samplesOf(std::uint8_t colourType) {
    switch (colourType) {
    case rgb:
        return 3;
    case greyAlpha:
        return 2;
    case rgba:
        return 4;
    default:
        return 1;
    }
}

std::size_t rowBytes(const PngForm& form, std::uint32_t width) {
    return (samplesOf(form.colourType) * form.depth * width + 7) / 8;
}

Bytes randomBytes(std::size_t size, std::mt19937& chance) {
    Bytes result(size);
    for (std::uint8_t& byte : result) byte = static_cast<std::uint8_t>(chance());
    return result;
}

// Rows of random bytes, of all passes, with filters that begin with `filter` and take turns.
Bytes randomRows(const PngForm& form, std::uint8_t filter, std::mt19937& chance) {
    constexpr std::array whole = {PngPass{{0, 0}, 1, 1}};
    Bytes rows;
    for (const PngPass& pass : form.interlaced ? std::span<const PngPass>(adam7) : whole) {
        const Size size = pass.sizeOf({form.width, form.height});
        for (std::uint32_t y = 0; size.width > 0 && y < size.height; ++y)
            rows = joined({rows, Bytes{static_cast<std::uint8_t>((filter + y) % 5)},
                           randomBytes(rowBytes(form, size.width), chance)});
    }
    return rows;
}

// Gives whether the picture is whole, once both say the same.
bool checkAlike(const Bytes& file) {
    const RecordedPicture reference(openPngByLibpng, file);
    const RecordedPicture ours(openPng, file);
    CHECK(ours.header.has_value() == reference.header.has_value());
    CHECK(ours.whole == reference.whole);
    if (reference.header && ours.header)
        CHECK(ours.header->samples.channels == reference.header->samples.channels);
    if (reference.whole) CHECK(ours.samples == reference.samples);
    return reference.whole;
}

Bytes cutIntoChunks(const Bytes& data, std::size_t size) {
    Bytes chunks;
    for (std::size_t i = 0; i < data.size(); i += size) {
        const auto begin = data.begin() + static_cast<std::ptrdiff_t>(i);
        const std::size_t count = std::min(size, data.size() - i);
        chunks = joined(
            {chunks, pngChunk("IDAT", Bytes(begin, begin + static_cast<std::ptrdiff_t>(count)))});
    }
    return chunks;
}

} // namespace

TEST_CASE("all filters, channels and widths") {
    std::mt19937 chance(2);
    for (const std::uint8_t colourType : {grey, rgb, greyAlpha, rgba})
        for (const std::uint8_t depth : Bytes{8, 16})
            for (std::uint32_t width = 1; width <= 70; ++width)
                for (std::uint8_t filter = 0; filter < 5; ++filter) {
                    CAPTURE(colourType);
                    CAPTURE(depth);
                    CAPTURE(width);
                    const PngForm form{width, 7, depth, colourType};
                    REQUIRE(checkAlike(pngFile(form, randomRows(form, filter, chance))));
                }
}

TEST_CASE("few bits a sample, with a transparent colour and without") {
    std::mt19937 chance(6);
    for (const std::uint8_t depth : Bytes{1, 2, 4, 8, 16})
        for (std::uint32_t width = 1; width <= 40; ++width)
            for (const std::uint8_t key : Bytes{0, 1, 3}) {
                CAPTURE(depth);
                CAPTURE(width);
                // Its bits beyond the depth do not count.
                const Bytes colour = {static_cast<std::uint8_t>(depth == 16 ? key : 9), key};
                const PngForm form{width, 5, depth, grey};
                const Bytes rows = randomRows(form, 0, chance);
                REQUIRE(checkAlike(pngFile(form, rows)));
                REQUIRE(checkAlike(pngFile(form, rows, pngChunk("tRNS", colour))));
                if (depth < 8) continue;
                const PngForm coloured{width, 5, depth, rgb};
                Bytes same = randomRows(coloured, 0, chance);
                for (std::uint8_t& byte : same) byte %= 2;
                REQUIRE(checkAlike(pngFile(coloured, same, pngChunk("tRNS", {1, 0, 1, 1, 0, 1}))));
            }
}

TEST_CASE("passes of every size, in every depth and colour type") {
    std::mt19937 chance(7);
    const std::vector<std::pair<std::uint8_t, std::uint8_t>> forms = {
        {grey, 1},    {grey, 2},      {grey, 4},       {grey, 8},    {grey, 16},
        {rgb, 8},     {rgb, 16},      {indexed, 1},    {indexed, 2}, {indexed, 4},
        {indexed, 8}, {greyAlpha, 8}, {greyAlpha, 16}, {rgba, 8},    {rgba, 16}};
    for (const auto& [colourType, depth] : forms)
        for (std::uint32_t width = 1; width <= 9; ++width)
            for (std::uint32_t height = 1; height <= 9; ++height) {
                const PngForm form{width, height, depth, colourType, true};
                const Bytes palette = pngChunk("PLTE", randomBytes(3U << depth, chance));
                const Bytes before = colourType == indexed ? palette : Bytes{};
                REQUIRE(checkAlike(pngFile(form, randomRows(form, 0, chance), before)));
            }
}

TEST_CASE("palettes of every length, with and without alpha") {
    std::mt19937 chance(3);
    for (const std::size_t colours : {1U, 2U, 100U, 255U, 256U})
        for (const std::size_t alphas : {0U, 1U, 2U, 100U, 256U, 300U}) {
            CAPTURE(colours);
            CAPTURE(alphas);
            const PngForm form{61, 11, 8, indexed};
            const Bytes palette = pngChunk("PLTE", randomBytes(3 * colours, chance));
            const Bytes before =
                alphas == 0 ? palette
                            : joined({palette, pngChunk("tRNS", randomBytes(alphas, chance))});
            checkAlike(pngFile(form, randomRows(form, 0, chance), before));
        }
}

TEST_CASE("rows that fill many batches, and rows longer than one") {
    std::mt19937 chance(4);
    for (const PngForm form :
         {PngForm{40, 9000, 8, grey}, PngForm{100'001, 3, 8, rgba}, PngForm{262'143, 2, 8, grey},
          PngForm{1, 132'000, 8, grey}, PngForm{1, 30'000, 16, rgba}, PngForm{3, 30'000, 8, rgb},
          PngForm{7, 3000, 2, grey}}) {
        CAPTURE(form.width);
        Bytes rows(form.height * (1 + rowBytes(form, form.width)));
        for (std::size_t y = 0; y < form.height; ++y)
            rows[y * (rows.size() / form.height)] = static_cast<std::uint8_t>(y % 5);
        for (std::size_t i = 0; i < 500; ++i) {
            const std::size_t index = chance() % rows.size();
            if (index % (rows.size() / form.height) != 0)
                rows[index] = static_cast<std::uint8_t>(chance());
        }
        REQUIRE(checkAlike(pngFile(form, rows)));
    }
}

TEST_CASE("pixel chunks of every size, empty ones among them") {
    std::mt19937 chance(5);
    const PngForm form{19, 9, 8, rgb};
    const Bytes data = deflated(randomRows(form, 0, chance));
    const Bytes whole = pngChunk("IDAT", data);
    for (std::size_t size = 1; size <= data.size(); ++size) {
        const Bytes chunks = cutIntoChunks(data, size);
        const Bytes empty = pngChunk("IDAT");
        for (const Bytes& pixels : {chunks, joined({empty, chunks, empty})}) {
            CAPTURE(size);
            REQUIRE(checkAlike(pngFileAround(form, pixels)));
        }
    }
}

TEST_CASE("what stands after the pixels") {
    const PngForm form{2, 1, 8, rgb};
    const Bytes rows = {0, 1, 2, 3, 4, 5, 6};
    const Bytes palette = pngChunk("PLTE", {1, 2, 3});
    const Bytes late = pngChunk("IDAT", {1});
    const Bytes text = pngChunk("tEXt", bytes("a text"));
    const auto hurt = [](Bytes chunk) {
        chunk.back() ^= 1;
        return chunk;
    };
    const auto whole = [&](const Bytes& before, const Bytes& after) {
        return checkAlike(pngFile(form, rows, before, after));
    };
    CHECK(whole({}, text));
    CHECK(whole({}, hurt(text)));
    CHECK(whole({}, joined({late, late, text})));
    CHECK_FALSE(whole({}, joined({text, late, text})));
    CHECK_FALSE(whole({}, hurt(late)));
    CHECK(whole({}, joined({palette, palette})));
    CHECK_FALSE(whole({}, hurt(palette)));
    CHECK_FALSE(whole(palette, palette));
    CHECK_FALSE(whole(joined({palette, palette}), {}));
    CHECK_FALSE(whole(hurt(palette), {}));
    CHECK(whole({}, pngChunk("tRNS", {0, 1, 0, 2, 0, 3})));
    CHECK(whole({}, pngChunk("xyZw")));
    CHECK_FALSE(whole({}, pngChunk("XyZw")));
    CHECK_FALSE(whole({}, pngChunk("x1Zw")));
    CHECK_FALSE(whole({}, pngChunk("IHDR", Bytes(13))));
    CHECK(whole({}, pngChunk("IEND", {1, 2, 3})));
    CHECK(whole({}, joined({pngChunk("IEND"), pngChunk("XyZw")})));
}

TEST_CASE("the first byte of the compressed data is checked as libpng checks it") {
    const PngForm form{1, 1};
    for (unsigned first = 0; first < 256; ++first) {
        CAPTURE(first);
        Bytes data = deflated({0, 7});
        data[0] = static_cast<std::uint8_t>(first);
        for (unsigned second = 0; second < 256; ++second) {
            if ((256 * first + second) % 31 != 0) continue;
            data[1] = static_cast<std::uint8_t>(second);
            checkAlike(pngFileAround(form, pngChunk("IDAT", data)));
        }
    }
}

TEST_CASE("a checksum that is cut in two is looked at all the same") {
    const PngForm form{1, 1};
    Bytes data = deflated({0, 7});
    data.back() ^= 1;
    for (std::size_t size = 1; size <= data.size(); ++size)
        CHECK_FALSE(RecordedPicture(openPng, pngFileAround(form, cutIntoChunks(data, size))).whole);
}
