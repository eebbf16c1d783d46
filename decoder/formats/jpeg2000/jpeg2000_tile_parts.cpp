#include "decoder/formats/jpeg2000/jpeg2000_tile_parts.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint16_t startOfCodestream = 0xff4f;
constexpr std::uint16_t imageAndTileSize = 0xff51;
constexpr std::uint16_t startOfTilePart = 0xff90;

constexpr std::uint32_t codestreamBox = fourLetterCode("jp2c");

// Tiles are counted in 16 bits.
constexpr std::uint64_t tileLimit = 65'535;

// From the first codestream on; a bare one is the file.
std::optional<Bytes> codestream(Bytes file) {
    const NumberReader numbers(file, ByteOrder::big);
    if (numbers.u16(0) == startOfCodestream) return file;
    for (std::size_t place = 0; numbers.u32(place + 4);) {
        std::uint64_t header = 8;
        std::uint64_t length = *numbers.u32(place);
        if (length == 1) {
            header = 16;
            length = numbers.u64(place + 8).value_or(0);
        }
        if (*numbers.u32(place + 4) == codestreamBox && place + header <= file.size())
            return file.subspan(place + header);
        if (length < header || length > file.size() - place) return std::nullopt;
        place += length;
    }
    return std::nullopt;
}

// How many tiles a side of the picture has: from the grid's origin to the picture's end.
std::uint64_t tilesAlong(std::uint32_t end, std::uint32_t tile, std::uint32_t origin) {
    if (tile == 0 || origin >= end) return 0;
    return (std::uint64_t{end} - origin + tile - 1) / tile;
}

/// The parts of each tile, announced and seen.
class TileParts {
  public:
    explicit TileParts(std::uint64_t tiles) : tiles_(tiles) {}

    bool take(std::uint16_t tile, std::uint8_t announced) {
        if (tile >= tiles_.size()) return false;
        ++tiles_[tile].seen;
        tiles_[tile].announced = std::max(tiles_[tile].announced, announced);
        return true;
    }

    bool complete() const {
        return std::ranges::all_of(
            tiles_, [](const Tile& tile) { return tile.seen > 0 && tile.seen >= tile.announced; });
    }

  private:
    struct Tile {
        std::uint32_t seen = 0;
        std::uint8_t announced = 0;
    };

    std::vector<Tile> tiles_;
};

// Where the first tile-part begins; the picture's size must be the first segment.
std::optional<std::size_t> firstTilePart(const NumberReader& numbers) {
    std::size_t place = 2;
    while (numbers.u16(place) != startOfTilePart) {
        const auto length = numbers.u16(place + 2);
        if (!length || *length < 2) return std::nullopt;
        place += 2 + std::size_t{*length};
    }
    return place;
}

} // namespace

bool hasAllTileParts(Bytes file) {
    const auto stream = codestream(file);
    if (!stream) return false;
    const NumberReader numbers(*stream, ByteOrder::big);
    // Behind the two markers: length, capabilities, the picture's end, its origin, a tile's size,
    // the origin of the tiles.
    constexpr std::size_t size = 4 + 2 + 2;
    const auto field = [&](std::size_t index) { return numbers.u32(size + 4 * index).value_or(0); };
    if (numbers.u16(2) != imageAndTileSize) return false;
    const std::uint64_t across = tilesAlong(field(0), field(4), field(6));
    const std::uint64_t down = tilesAlong(field(1), field(5), field(7));
    if (across == 0 || down == 0 || across > tileLimit / down) return false;

    TileParts parts(across * down);
    auto place = firstTilePart(numbers);
    while (place && numbers.u16(*place) == startOfTilePart) {
        const auto tile = numbers.u16(*place + 4);
        const auto length = numbers.u32(*place + 6);
        const auto counts = numbers.u16(*place + 10);
        if (!length || !counts || !parts.take(*tile, static_cast<std::uint8_t>(*counts & 0xff)))
            return false;
        constexpr std::uint32_t shortest = 12 + 2; // the segment and the marker of its data
        if (*length == 0) break;                   // to the end of the codestream
        if (*length < shortest || *length > stream->size() - *place) return false;
        *place += *length;
    }
    return parts.complete();
}

} // namespace sorvane::decoder
