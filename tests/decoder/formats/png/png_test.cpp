#include "decoder/formats/png/png.h"

#include <cstring>

#include <doctest/doctest.h>

#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

RecordedPicture recorded(const Bytes& file) { return RecordedPicture(openPng, file); }

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

TEST_CASE("an orientation counts when it stands before the pixels") {
    const PngForm form{2, 1};
    const Bytes rows = {0, 10, 20};
    const auto turned = recorded(pngFile(form, rows, orientationChunk(6)));
    CHECK(turned.whole);
    CHECK(turned.header->orientation == Orientation::quarterTurn);
    CHECK_FALSE(recorded(pngFile(form, rows, {}, orientationChunk(6))).whole);
    CHECK(recorded(pngFile(form, rows, {}, orientationChunk(1))).whole);
    CHECK(recorded(pngFile(form, rows, orientationChunk(8), orientationChunk(6))).whole);
}

TEST_CASE("a picture that is cut short or damaged is not whole") {
    const Bytes file = pngFile({2, 2}, {0, 10, 20, 0, 30, 40});
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(recorded(Bytes(file.begin(), end)).whole);
    }
    for (std::size_t place = 0; place < file.size(); ++place) {
        CAPTURE(place);
        Bytes hurt = file;
        hurt[place] ^= 0x04;
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
