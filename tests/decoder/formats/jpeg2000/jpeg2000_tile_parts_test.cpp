#include "decoder/formats/jpeg2000/jpeg2000_tile_parts.h"

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

Bytes u16(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

struct Grid {
    std::uint32_t width = 40, height = 30;
    std::uint32_t tileWidth = 20, tileHeight = 15;
    std::uint32_t originX = 0, originY = 0;
};

// The markers of codestream and size, and one more segment, whose data look like a tile-part.
Bytes mainHeader(const Grid& grid) {
    return joined({{0xff, 0x4f, 0xff, 0x51},
                   u16(38),
                   u16(0),
                   bigEndian32(grid.width),
                   bigEndian32(grid.height),
                   bigEndian32(0),
                   bigEndian32(0),
                   bigEndian32(grid.tileWidth),
                   bigEndian32(grid.tileHeight),
                   bigEndian32(grid.originX),
                   bigEndian32(grid.originY),
                   u16(0),
                   {0xff, 0x64},
                   u16(4),
                   {0xff, 0x90}});
}

bool isWhole(const Bytes& file) {
    const auto stream = Jpeg2000Codestream::of(file);
    return stream && hasAllTileParts(*stream);
}

// A part of a tile with three bytes of data; `count` is how many parts it announces.
Bytes part(std::uint16_t tile, std::uint8_t count = 1, std::uint8_t index = 0) {
    return joined(
        {{0xff, 0x90}, u16(10), u16(tile), bigEndian32(17), {index, count}, {0xff, 0x93, 1, 2, 3}});
}

const Bytes end = {0xff, 0xd9};
const Bytes fourTiles = joined({part(0), part(1), part(2), part(3)});

bool complete(const Bytes& parts, const Grid& grid = {}) {
    return isWhole(joined({mainHeader(grid), parts, end}));
}

Bytes withoutLast(const Bytes& bytes, std::size_t count) {
    return {bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(count)};
}

} // namespace

TEST_CASE("a codestream with every tile is complete, in whatever order they come") {
    CHECK(complete(fourTiles));
    CHECK(complete(joined({part(3), part(1), part(2), part(0)})));
    CHECK_FALSE(complete(joined({part(0), part(1), part(3)})));
    CHECK_FALSE(complete(joined({part(1), part(2), part(3)})));
    CHECK_FALSE(complete(joined({part(0), part(1), part(2), part(2)})));
    CHECK_FALSE(complete({}));
}

TEST_CASE("a tile has as many parts as one of them announces") {
    const Grid one = {20, 15};
    CHECK(complete(joined({part(0, 2, 0), part(0, 2, 1)}), one));
    CHECK(complete(joined({part(0, 0, 0), part(0, 2, 1)}), one));
    CHECK(complete(joined({part(0, 0, 0), part(0, 0, 1)}), one));
    CHECK_FALSE(complete(part(0, 2, 0), one));
    CHECK_FALSE(complete(joined({part(0, 0, 0), part(0, 3, 1)}), one));
    CHECK_FALSE(complete(joined({part(0, 3, 0), part(0, 0, 1)}), one));
}

TEST_CASE("the last part may reach to the end of the codestream") {
    Bytes open = part(0);
    for (std::size_t i = 6; i < 10; ++i) open[i] = 0;
    CHECK(complete(open, {20, 15}));
    CHECK_FALSE(complete(open));
}

TEST_CASE("tiles are counted from their own origin to the end of the picture") {
    CHECK(complete(fourTiles, {21, 16}));
    CHECK(complete(fourTiles, {50, 40, 20, 15, 10, 10}));
    CHECK_FALSE(complete(fourTiles, {51, 40, 20, 15, 10, 10}));
    CHECK_FALSE(complete(fourTiles, {41, 30}));
    CHECK_FALSE(complete(joined({fourTiles, part(4)})));
}

TEST_CASE("sizes that make no sense are rejected") {
    for (const Grid& grid : {Grid{0, 30}, Grid{40, 0}, Grid{40, 30, 0, 15}, Grid{40, 30, 20, 0},
                             Grid{40, 30, 20, 15, 40, 0}, Grid{40, 30, 20, 15, 0, 30},
                             Grid{65'536, 1, 1, 1}, Grid{0xffff'ffff, 0xffff'ffff, 1, 1}})
        CHECK_FALSE(complete(fourTiles, grid));
}

TEST_CASE("a part is at least its own header, and lies inside the codestream") {
    const Grid one = {20, 15};
    const Bytes header = mainHeader(one);
    for (const unsigned length : {1U, 13U, 20U, 255U}) {
        CAPTURE(length);
        Bytes wrong = part(0);
        wrong[9] = static_cast<std::uint8_t>(length);
        CHECK_FALSE(complete(wrong, one));
    }
    Bytes shortest = withoutLast(part(0), 3);
    shortest[9] = 14;
    CHECK(complete(shortest, one));
}

TEST_CASE("a codestream that is cut short is not complete") {
    const Bytes whole = joined({mainHeader({}), fourTiles});
    CHECK(isWhole(whole));
    for (std::size_t count = 1; count <= whole.size(); ++count) {
        CAPTURE(count);
        CHECK_FALSE(isWhole(withoutLast(whole, count)));
    }
}

TEST_CASE("the main header begins with the size, and its segments have a length") {
    Bytes other = joined({mainHeader({}), fourTiles});
    other[3] = 0x52;
    CHECK_FALSE(isWhole(other));
    // What follows the length of 1 would lead on to the tile-parts.
    const Bytes size = withoutLast(mainHeader({}), 6);
    CHECK(isWhole(joined({size, fourTiles})));
    CHECK_FALSE(isWhole(joined({size, {0xff, 0x64}, u16(1), {0, 0, 2}, fourTiles})));
}

TEST_CASE("in a container the first codestream counts") {
    const Bytes stream = joined({mainHeader({}), fourTiles, end});
    const auto length = static_cast<std::uint32_t>(stream.size());
    const Bytes other = joined({bigEndian32(12), bytes("jP  "), {13, 10, 0x87, 10}});
    const Bytes name = bytes("jp2c");
    CHECK(isWhole(joined({other, bigEndian32(length + 8), name, stream})));
    CHECK(isWhole(joined({other, bigEndian32(0), name, stream})));
    CHECK(isWhole(
        joined({other, bigEndian32(1), name, bigEndian32(0), bigEndian32(length + 16), stream})));
    const Bytes wide = joined({bigEndian32(1), bytes("free"), bigEndian32(0), bigEndian32(16)});
    CHECK(isWhole(joined({wide, bigEndian32(0), name, stream})));
    CHECK_FALSE(isWhole(other));
    CHECK_FALSE(isWhole(joined({other, bigEndian32(0), bytes("free"), stream})));
    CHECK_FALSE(isWhole(joined({bigEndian32(7), bytes("free"), bigEndian32(0), name, stream})));
    CHECK_FALSE(isWhole(joined({bigEndian32(1000), bytes("free"), bigEndian32(0), name, stream})));
}
