#include "decoder/formats/jpeg2000/jpeg2000_tile_parts.h"

#include <algorithm>
#include <vector>

namespace sorvane::decoder {

namespace {

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

} // namespace

bool hasAllTileParts(const Jpeg2000Codestream& stream) {
    const auto grid = stream.grid();
    if (!grid) return false;
    TileParts parts(grid->across() * grid->down());
    return stream.eachTilePart([&](const Jpeg2000Codestream::TilePart& part) {
        return parts.take(part.tile, part.announced);
    }) && parts.complete();
}

} // namespace sorvane::decoder
