#include "decoder/formats/jpeg2000/jpeg2000_cost.h"

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

Bytes u16(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

Bytes segment(std::uint8_t marker, const Bytes& body) {
    return joined({{0xff, marker}, u16(static_cast<std::uint32_t>(body.size() + 2)), body});
}

struct Coding {
    std::uint32_t layers = 1;
    std::uint8_t levels = 0;
    // As exponents less 2.
    std::uint8_t blockWidth = 4, blockHeight = 4;
    Bytes precincts;

    Bytes style() const { return joined({{levels, blockWidth, blockHeight, 0, 1}, precincts}); }
    std::uint8_t hasPrecincts() const { return precincts.empty() ? 0 : 1; }
    Bytes segment() const {
        return ::segment(0x52, joined({{hasPrecincts(), 0}, u16(layers), {0}, style()}));
    }
    Bytes segmentOf(std::uint8_t channel) const {
        return ::segment(0x53, joined({{channel, hasPrecincts()}, style()}));
    }
};

struct Stream {
    std::uint32_t width = 1000, height = 1000;
    std::uint32_t tileWidth = 1000, tileHeight = 1000;
    std::uint8_t channels = 1;
    Bytes main = Coding{}.segment();
    Bytes ofTile = {};
    std::size_t dataSize = 100;
    std::uint8_t step = 1;

    Bytes tile(std::uint32_t index) const {
        const std::size_t length = 14 + ofTile.size() + dataSize;
        return joined({{0xff, 0x90},
                       u16(10),
                       u16(index),
                       bigEndian32(static_cast<std::uint32_t>(length)),
                       {0, 1},
                       ofTile,
                       {0xff, 0x93},
                       Bytes(dataSize)});
    }

    Bytes bytes() const {
        Bytes size =
            joined({u16(0), bigEndian32(width), bigEndian32(height), Bytes(8),
                    bigEndian32(tileWidth), bigEndian32(tileHeight), Bytes(8), u16(channels)});
        for (int i = 0; i < channels; ++i) size = joined({size, {7, step, step}});
        Bytes stream = joined({{0xff, 0x4f}, segment(0x51, size), main});
        const std::uint32_t across = (width + tileWidth - 1) / tileWidth;
        const std::uint32_t down = (height + tileHeight - 1) / tileHeight;
        for (std::uint32_t i = 0; i < across * down; ++i) stream = joined({stream, tile(i)});
        return stream;
    }
};

bool accepted(const Bytes& bytes) {
    const auto stream = Jpeg2000Codestream::of(bytes);
    return stream && isWithinDecodingCost(*stream);
}
bool accepted(const Stream& stream) { return accepted(stream.bytes()); }

Stream coded(const Coding& coding, std::size_t dataSize) {
    Stream stream;
    stream.main = coding.segment();
    stream.dataSize = dataSize;
    return stream;
}

// The length of all that is no packet.
std::size_t headers(const Coding& coding) { return coded(coding, 0).bytes().size(); }

} // namespace

TEST_CASE("there are no more packets than bytes") {
    // A tile of 1000 x 1000 in precincts of 32 x 32 are 1024, of two layers 2048.
    const Coding coding{2, 0, 4, 4, {0x55}};
    CHECK(accepted(coded(coding, 2048 - headers(coding))));
    CHECK_FALSE(accepted(coded(coding, 2047 - headers(coding))));
    // One level less: 16 x 16 precincts of 32 x 32, and as many of 64 x 64.
    const Coding halved{1, 1, 4, 4, {0x55, 0x66}};
    CHECK(accepted(coded(halved, 512 - headers(halved))));
    CHECK_FALSE(accepted(coded(halved, 511 - headers(halved))));
}

TEST_CASE("channels and tiles have packets of their own") {
    const Coding coding{1, 0, 4, 4, {0x55}};
    Stream stream = coded(coding, 0);
    stream.channels = 3;
    stream.dataSize = std::size_t{3} * 1024 - stream.bytes().size();
    CHECK(accepted(stream));
    --stream.dataSize;
    CHECK_FALSE(accepted(stream));
    // Samples in every second column and row: 16 x 16 precincts a channel.
    stream.step = 2;
    stream.dataSize = 0;
    stream.dataSize = std::size_t{3} * 256 - stream.bytes().size();
    CHECK(accepted(stream));
    --stream.dataSize;
    CHECK_FALSE(accepted(stream));
    // Four tiles of 500 x 500 have 17 x 16, or as many, since they do not begin at a precinct.
    Stream tiles = coded(coding, 265);
    tiles.tileWidth = tiles.tileHeight = 500;
    CHECK(accepted(tiles));
    tiles.dataSize = 200;
    CHECK_FALSE(accepted(tiles));
}

TEST_CASE("all blocks of all layers are no more than pixels and bits") {
    // 1000 x 1000 in blocks of 4 x 4 are 62,500.
    const auto blocks = [](std::uint32_t layers) {
        return coded(Coding{layers, 0, 0, 0, {}}, 100'000);
    };
    CHECK(accepted(blocks(972)));
    CHECK_FALSE(accepted(blocks(973)));
}

TEST_CASE("memory for samples and blocks is within the limit") {
    const auto picture = [](std::uint8_t channels, std::uint8_t block) {
        Stream stream = coded(Coding{1, 0, block, block, {}}, 100);
        stream.width = stream.tileWidth = 7500;
        stream.height = stream.tileHeight = 8000;
        stream.channels = channels;
        return stream;
    };
    CHECK(accepted(picture(3, 3)));
    CHECK(accepted(picture(4, 4)));
    CHECK(accepted(picture(1, 2)));
    CHECK_FALSE(accepted(picture(1, 0)));
    CHECK_FALSE(accepted(picture(4, 2)));
    Stream over = picture(1, 4);
    over.width = over.tileWidth = 7501;
    CHECK_FALSE(accepted(over));
    CHECK_FALSE(accepted(picture(5, 4)));
    CHECK_FALSE(accepted(picture(0, 4)));
}

TEST_CASE("a channel, a tile, and a channel of a tile may be coded otherwise") {
    const Coding small{1, 0, 4, 4, {0x11}};
    Stream stream;
    CHECK(accepted(stream));
    stream.main = joined({Coding{}.segment(), small.segmentOf(0)});
    CHECK_FALSE(accepted(stream));
    stream.main = joined({small.segmentOf(0), Coding{}.segment()});
    CHECK(accepted(stream));
    stream.ofTile = small.segment();
    CHECK_FALSE(accepted(stream));
    stream.ofTile = small.segmentOf(0);
    CHECK_FALSE(accepted(stream));
    stream.main = small.segment();
    stream.ofTile = Coding{}.segment();
    CHECK(accepted(stream));
    stream.ofTile = {};
    stream.main = Coding{}.segmentOf(0);
    CHECK_FALSE(accepted(stream));
    stream.main = joined({Coding{}.segment(), Coding{}.segmentOf(1)});
    CHECK_FALSE(accepted(stream));
}

TEST_CASE("a coding that makes no sense is rejected") {
    CHECK(accepted(coded(Coding{1, 32, 4, 4, {}}, 100)));
    CHECK_FALSE(accepted(coded(Coding{1, 33, 4, 4, {}}, 100)));
    CHECK(accepted(coded(Coding{1, 1, 4, 4, {0x88, 0x88}}, 100)));
    CHECK_FALSE(accepted(coded(Coding{1, 1, 4, 4, {0x88, 0x08}}, 100)));
    CHECK_FALSE(accepted(coded(Coding{1, 1, 4, 4, {0x88, 0x80}}, 100)));
    CHECK_FALSE(accepted(Stream{.step = 0}));
    const Bytes whole = Stream{}.bytes();
    for (std::size_t size = 0; size + 100 < whole.size(); ++size) {
        CAPTURE(size);
        CHECK_FALSE(
            accepted(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))));
    }
}

TEST_CASE("there are no more tiles than the limit") {
    Stream stream;
    stream.width = stream.height = 129;
    stream.tileWidth = stream.tileHeight = 1;
    stream.dataSize = 1;
    CHECK_FALSE(accepted(stream));
    stream.width = 64;
    CHECK(accepted(stream));
}
