#include "decoder/formats/png/png.h"

#include <cstring>

#include <doctest/doctest.h>

#include "tests/decoder/formats/png/libpng_reader.h"
#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

RecordedPicture recorded(const Bytes& file) { return {openPng, file}; }

Bytes orientationChunk(std::uint8_t orientation) {
    return pngChunk("eXIf", joined({bytes("MM"),
                                    {0, 42, 0, 0, 0, 8, 0, 1, 1, 18, 0, 3, 0, 0},
                                    {0, 1, 0, orientation, 0, 0}}));
}

} // namespace

TEST_CASE("low depths are scaled to 8 bits and palettes are looked up, with their transparency") {
    const auto grey = recorded(pngFile({4, 1, 2}, {0, 0b00011011}));
    REQUIRE(grey.whole);
    CHECK(grey.samples == Bytes{0, 85, 170, 255});
    const Bytes palette = pngChunk("PLTE", {1, 2, 3, 4, 5, 6});
    const auto opaque = recorded(pngFile({2, 1, 1, 3}, {0, 0b01000000}, palette));
    CHECK(opaque.header->samples.channels == Channels::rgb);
    CHECK(opaque.samples == Bytes{1, 2, 3, 4, 5, 6});
    const auto clear =
        recorded(pngFile({2, 1, 1, 3}, {0, 0b01000000}, joined({palette, pngChunk("tRNS", {77})})));
    CHECK(clear.header->samples.channels == Channels::rgba);
    CHECK(clear.samples == Bytes{1, 2, 3, 77, 4, 5, 6, 255});
}

TEST_CASE("16 bits are handed over in the machine's order, and compared with tRNS as they are") {
    const auto picture =
        recorded(pngFile({2, 1, 16}, {0, 0x12, 0x34, 0x12, 0x35}, pngChunk("tRNS", {0x12, 0x34})));
    REQUIRE(picture.whole);
    CHECK(picture.header->samples.sixteenBits);
    std::array<std::uint16_t, 4> samples;
    REQUIRE(picture.samples.size() == sizeof samples);
    std::memcpy(samples.data(), picture.samples.data(), sizeof samples);
    CHECK(samples == std::array<std::uint16_t, 4>{0x1234, 0, 0x1235, 0xffff});
}

TEST_CASE("an interlaced picture comes in passes, each pixel once") {
    const auto picture = recorded(pngFile({3, 2, 8, 0, true}, {0, 1, 0, 3, 0, 2, 0, 4, 5, 6}));
    REQUIRE(picture.whole);
    CHECK_FALSE(picture.header->rowsInOrder);
    CHECK(picture.samples == Bytes{1, 2, 3, 4, 5, 6});
}

TEST_CASE("the first orientation counts, before the pixels or after them") {
    const auto orientation = [](const Bytes& before, const Bytes& after) {
        const auto picture = recorded(pngFile({2, 1}, {0, 10, 20}, before, after));
        REQUIRE(picture.whole);
        CHECK(picture.samples == Bytes{10, 20});
        CHECK(picture.runs == 1);
        return picture.header->orientation;
    };
    const Bytes six = orientationChunk(6);
    const Bytes eight = orientationChunk(8);
    CHECK(orientation(six, {}) == Orientation::quarterTurn);
    CHECK(orientation({}, orientationChunk(1)) == Orientation::upright);
    CHECK(orientation({}, six) == Orientation::quarterTurn);
    CHECK(orientation({}, joined({eight, six})) == Orientation::threeQuarterTurn);
    CHECK(orientation(eight, six) == Orientation::threeQuarterTurn);
    CHECK(orientation(orientationChunk(1), six) == Orientation::upright);
}

TEST_CASE("an orientation after the pixels counts in every form of picture") {
    const Bytes turn = orientationChunk(3);
    for (const PngForm& form : {PngForm{2, 1}, PngForm{2, 1, 8, 0, true}, PngForm{1, 1, 16}}) {
        const Bytes rows = form.interlaced ? Bytes{0, 10, 0, 20} : Bytes{0, 10, 20};
        for (const auto open : {openPng, openPngByLibpng}) {
            const RecordedPicture before(open, pngFile(form, rows, turn));
            const RecordedPicture after(open, pngFile(form, rows, {}, turn));
            CHECK(before.whole);
            CHECK(after.whole);
            CHECK(after.header->orientation == Orientation::halfTurn);
            CHECK(after.samples == before.samples);
        }
    }
}

TEST_CASE("a picture that is cut short or damaged is not whole") {
    const Bytes file = pngFile({2, 2}, {0, 10, 20, 0, 30, 40});
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(recorded(Bytes(file.begin(), end)).whole);
    }
    for (std::size_t index = 0; index < file.size(); ++index) {
        CAPTURE(index);
        Bytes hurt = file;
        hurt[index] ^= 0x04;
        CHECK_FALSE(recorded(hurt).whole);
    }
}

TEST_CASE("an ancillary chunk that fails its checksum counts as absent") {
    Bytes turned = orientationChunk(6);
    turned.back() ^= 1;
    const auto picture = recorded(pngFile({2, 1}, {0, 10, 20}, turned));
    CHECK(picture.whole);
    CHECK(picture.header->orientation == Orientation::upright);
}
