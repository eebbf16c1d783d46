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

// The index of a tile has 16 bits, and its largest value is not used.
constexpr std::uint64_t maxTiles = 65'535;

// The file from its first codestream on; a bare one is the whole file.
std::optional<Bytes> codestream(Bytes file) {
    const NumberReader numbers(file, ByteOrder::big);
    if (numbers.u16(0) == startOfCodestream) return file;
    for (std::size_t offset = 0; numbers.u32(offset + 4);) {
        std::uint64_t header = 8;
        std::uint64_t length = *numbers.u32(offset);
        if (length == 1) {
            header = 16;
            length = numbers.u64(offset + 8).value_or(0);
        }
        if (*numbers.u32(offset + 4) == codestreamBox && offset + header <= file.size())
            return file.subspan(offset + header);
        if (length < header || length > file.size() - offset) return std::nullopt;
        offset += length;
    }
    return std::nullopt;
}

// How many tiles lie along a side, from the origin of the tiles to the end of the picture.
std::uint64_t tilesAlong(std::uint32_t end, std::uint32_t tile, std::uint32_t origin) {
    if (tile == 0 || origin >= end) return 0;
    return (std::uint64_t{end} - origin + tile - 1) / tile;
}

/// How many parts of each tile were announced, and how many seen.
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

// The offset of the first tile-part, after all segments of the main header.
std::optional<std::size_t> firstTilePart(const NumberReader& numbers) {
    std::size_t offset = 2;
    while (numbers.u16(offset) != startOfTilePart) {
        const auto length = numbers.u16(offset + 2);
        if (!length || *length < 2) return std::nullopt;
        offset += 2 + std::size_t{*length};
    }
    return offset;
}

} // namespace

bool hasAllTileParts(Bytes file) {
    const auto stream = codestream(file);
    if (!stream) return false;
    const NumberReader numbers(*stream, ByteOrder::big);
    // After two markers, a length and the capabilities: the picture's end, its origin, a tile's
    // size, the origin of the tiles.
    constexpr std::size_t size = 4 + 2 + 2;
    const auto field = [&](std::size_t index) { return numbers.u32(size + 4 * index).value_or(0); };
    if (numbers.u16(2) != imageAndTileSize) return false;
    const std::uint64_t across = tilesAlong(field(0), field(4), field(6));
    const std::uint64_t down = tilesAlong(field(1), field(5), field(7));
    if (across == 0 || down == 0 || across > maxTiles / down) return false;

    TileParts parts(across * down);
    auto offset = firstTilePart(numbers);
    while (offset && numbers.u16(*offset) == startOfTilePart) {
        const auto tile = numbers.u16(*offset + 4);
        const auto length = numbers.u32(*offset + 6);
        const auto counts = numbers.u16(*offset + 10);
        if (!length || !counts || !parts.take(*tile, static_cast<std::uint8_t>(*counts & 0xff)))
            return false;
        constexpr std::uint32_t minLength = 12 + 2; // the segment and the marker of its data
        if (*length == 0) break;                    // to the end of the codestream
        if (*length < minLength || *length > stream->size() - *offset) return false;
        *offset += *length;
    }
    return parts.complete();
}

} // namespace sorvane::decoder
