// libpng is the reference: whatever a file holds, both read the same rows.

#include <random>

#include <doctest/doctest.h>

#include "decoder/formats/png/png.h"
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

std::size_t pixelBytes(std::uint8_t colourType) {
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

Bytes randomBytes(std::size_t size, std::mt19937& chance) {
    Bytes result(size);
    for (std::uint8_t& byte : result) byte = static_cast<std::uint8_t>(chance());
    return result;
}

// Rows of random bytes, with filters that begin with `filter` and take turns.
Bytes randomRows(const PngForm& form, std::uint8_t filter, std::mt19937& chance) {
    Bytes rows;
    for (std::uint32_t y = 0; y < form.height; ++y)
        rows = joined({rows, Bytes{static_cast<std::uint8_t>((filter + y) % 5)},
                       randomBytes(form.width * pixelBytes(form.colourType), chance)});
    return rows;
}

// Gives whether the picture is whole, once both say the same.
bool checkAlike(const Bytes& file) {
    const RecordedPicture reference(openPngByLibpng, file);
    const RecordedPicture ours(openPng, file);
    CHECK(ours.header.has_value() == reference.header.has_value());
    CHECK(ours.whole == reference.whole);
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
        for (std::uint32_t width = 1; width <= 70; ++width)
            for (std::uint8_t filter = 0; filter < 5; ++filter) {
                CAPTURE(colourType);
                CAPTURE(width);
                const PngForm form{width, 7, 8, colourType};
                REQUIRE(checkAlike(pngFile(form, randomRows(form, filter, chance))));
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
         {PngForm{40, 9000, 8, grey}, PngForm{100'001, 3, 8, rgba}, PngForm{262'143, 2, 8, grey}}) {
        CAPTURE(form.width);
        Bytes rows(form.height * (1 + form.width * pixelBytes(form.colourType)));
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
