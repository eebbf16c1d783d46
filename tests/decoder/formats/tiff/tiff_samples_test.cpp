#include "decoder/formats/tiff/tiff_samples.h"

#include <array>
#include <bit>
#include <cstring>
#include <span>
#include <vector>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

// `count` rows, which lie `stride` bytes apart in every plane.
Bytes rowsOf(const TiffSampleLayout& layout, std::size_t width, const std::vector<Bytes>& stored,
             std::size_t stride, std::uint32_t count) {
    TiffSamples samples(layout, width);
    std::vector<TiffStoredRows> planes;
    for (const Bytes& plane : stored) planes.push_back({plane.data(), stride, count});
    const std::uint8_t* rows = samples.rows(planes);
    return {rows, rows + count * width * layout.format().pixelBytes()};
}

Bytes rowOf(const TiffSampleLayout& layout, std::size_t width, const std::vector<Bytes>& stored) {
    return rowsOf(layout, width, stored, 0, 1);
}

Bytes words(const std::vector<std::uint16_t>& values) {
    Bytes bytes(2 * values.size());
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

// In the machine's order.
Bytes longs(const std::vector<std::uint32_t>& values, std::size_t length) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        std::array<std::uint8_t, 4> all;
        std::memcpy(all.data(), &value, all.size());
        const std::size_t skipped = std::endian::native == std::endian::big ? 4 - length : 0;
        const auto used = std::span(all).subspan(skipped, length);
        bytes.insert(bytes.end(), used.begin(), used.end());
    }
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

TEST_CASE("more than 16 bits are scaled to 16, rounded to the nearest") {
    CHECK(rowOf(grey(17), 3, {{0xff, 0xff, 0x80, 0x00, 0xa0, 0x00, 0x00}}) ==
          words({65535, 1, 32768}));
    CHECK(rowOf(grey(24), 4, {longs({0, 128, 129, 0xffffff}, 3)}) == words({0, 0, 1, 65535}));
    CHECK(rowOf(grey(31), 1, {{0xff, 0xff, 0xff, 0xfe}}) == words({65535}));
    CHECK(rowOf(grey(32), 5, {longs({0, 32768, 32769, 0x80000000, 0xffffffff}, 4)}) ==
          words({0, 0, 1, 32768, 65535}));
}

TEST_CASE("long samples may be inverted, under alpha, and planar") {
    TiffSampleLayout layout{Channels::greyAlpha, 32, 2, true, true, {}};
    CHECK(rowOf(layout, 1, {longs({0x20000000, 0x40000000}, 4)}) == words({32767, 16384}));
    const TiffSampleLayout planar{Channels::rgb, 24, 1, false, false, {}};
    CHECK(rowOf(planar, 1, {longs({0xffffff}, 3), longs({0}, 3), longs({0x800000}, 3)}) ==
          words({65535, 0, 32768}));
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

TEST_CASE("rows are made together, each from its own first byte") {
    CHECK(rowsOf(grey(1), 3, {{0b10100000, 0b01100000}}, 1, 2) == Bytes{255, 0, 255, 0, 255, 255});
    CHECK(rowsOf(grey(12), 1, {{0xff, 0xf0, 9, 0x80, 0x00, 9}}, 3, 2) == words({65535, 32776}));
    const TiffSampleLayout planar{Channels::rgb, 8, 1, false, false, {}};
    CHECK(rowsOf(planar, 1, {{1, 4}, {2, 5}, {3, 6}}, 1, 2) == Bytes{1, 2, 3, 4, 5, 6});
    TiffSampleLayout palette{Channels::rgb, 4, 1, false, false, {}};
    palette.palette = {{1, 2, 3}, {4, 5, 6}};
    CHECK(rowsOf(palette, 1, {{0x10, 0x00}}, 1, 2) == words({4, 5, 6, 1, 2, 3}));
}

TEST_CASE("rows as they are stored may be wider than the picture") {
    CHECK(rowsOf(grey(8), 2, {{1, 2, 3, 4}}, 2, 2) == Bytes{1, 2, 3, 4});
    CHECK(rowsOf(grey(8), 2, {{1, 2, 9, 3, 4, 9}}, 3, 2) == Bytes{1, 2, 3, 4});
    CHECK(rowsOf(grey(16), 1, {words({1, 9, 65535, 9})}, 4, 2) == words({1, 65535}));
}
