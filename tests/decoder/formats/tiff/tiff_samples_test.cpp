#include "decoder/formats/tiff/tiff_samples.h"

#include <array>
#include <cstring>
#include <vector>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

Bytes rowOf(const TiffSampleLayout& layout, std::size_t width, const std::vector<Bytes>& stored) {
    TiffSamples samples(layout, width);
    std::vector<const std::uint8_t*> planes;
    for (const Bytes& plane : stored) planes.push_back(plane.data());
    const std::uint8_t* row = samples.row(planes);
    return {row, row + width * layout.format().pixelBytes()};
}

Bytes words(const std::vector<std::uint16_t>& values) {
    Bytes bytes(2 * values.size());
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

TiffSampleLayout grey(unsigned bits) { return {Channels::grey, bits, 1, false, false, {}}; }

} // namespace

TEST_CASE("low depths are spread over 8 bits, higher ones over 16") {
    CHECK(rowOf(grey(1), 9, {{0b10110100, 0x80}}) == Bytes{255, 0, 255, 255, 0, 255, 0, 0, 255});
    CHECK(rowOf(grey(2), 4, {{0b00011011}}) == Bytes{0, 85, 170, 255});
    CHECK(rowOf(grey(3), 3, {{0b00101111, 0x80}}) == Bytes{36, 109, 255});
    CHECK(rowOf(grey(8), 2, {{7, 250}}) == Bytes{7, 250});
    CHECK(rowOf(grey(12), 2, {{0x80, 0x0f, 0xff}}) == words({32776, 65535}));
    CHECK(rowOf(grey(16), 2, {words({1, 65535})}) == words({1, 65535}));
}

TEST_CASE("interleaved and planar samples become pixels, without those that are not used") {
    const TiffSampleLayout interleaved{Channels::rgb, 8, 4, false, false, {}};
    CHECK(rowOf(interleaved, 2, {{1, 2, 3, 9, 4, 5, 6, 9}}) == Bytes{1, 2, 3, 4, 5, 6});
    const TiffSampleLayout planar{Channels::rgb, 8, 1, false, false, {}};
    CHECK(rowOf(planar, 2, {{1, 4}, {2, 5}, {3, 6}}) == Bytes{1, 2, 3, 4, 5, 6});
}

TEST_CASE("white may be zero") {
    TiffSampleLayout layout = grey(4);
    layout.minIsWhite = true;
    CHECK(rowOf(layout, 2, {{0x0f}}) == Bytes{255, 0});
}

TEST_CASE("colours are taken out from under their alpha, rounded to the nearest") {
    const TiffSampleLayout layout{Channels::greyAlpha, 8, 2, false, true, {}};
    CHECK(rowOf(layout, 5, {{1, 2, 50, 100, 9, 9, 9, 0, 200, 100}}) ==
          Bytes{128, 2, 128, 100, 255, 9, 0, 0, 255, 100});
    TiffSampleLayout inverted = layout;
    inverted.minIsWhite = true;
    CHECK(rowOf(inverted, 1, {{25, 100}}) == Bytes{191, 100});
}

TEST_CASE("a palette is looked up") {
    TiffSampleLayout layout{Channels::rgb, 2, 1, false, false, {}};
    layout.palette = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
    CHECK(rowOf(layout, 2, {{0b11010000}}) == words({10, 11, 12, 4, 5, 6}));
    layout.channels = Channels::rgba;
    layout.interleaved = 2;
    CHECK(rowOf(layout, 2, {{0b11010010}}) == words({10, 11, 12, 21845, 1, 2, 3, 43690}));
}
