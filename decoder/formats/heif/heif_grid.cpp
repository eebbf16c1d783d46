#include "decoder/formats/heif/heif_grid.h"

#include <algorithm>
#include <map>
#include <set>

#include "decoder/formats/heif/heif_items.h"
#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

bool isCoded(const HeifItem& item) {
    return item.type == fourLetterCode("hvc1") || item.type == fourLetterCode("av01");
}

struct Grid {
    std::uint64_t rows;
    std::uint64_t columns;
    Size output;
};

class Derivation {
  public:
    Derivation(BufferedFile& file, const HeifItems& items) : file_(file), items_(items) {}

    /// How many steps the item's derivation has, itself included; nothing when it is rejected.
    /// `depth` steps lead to it, itself included.
    std::optional<int> follow(std::uint32_t id, int depth);
    std::optional<CodedSizes> sizes() const;

  private:
    const HeifItem* find(std::uint32_t id) const;
    std::optional<Grid> gridOf(const HeifItem& item) const;
    bool isWithinBudget(const HeifItem& overlay) const;
    std::optional<int> followItem(const HeifItem& item, int depth);
    std::optional<int> followParts(const HeifItem& item, int depth);
    bool followGrid(const HeifItem& item);
    bool followTile(std::uint32_t id);

    BufferedFile& file_;
    const HeifItems& items_;
    // The items that have been followed, or are being followed: how many steps they have.
    std::map<std::uint32_t, std::optional<int>> steps_;
    std::set<std::uint32_t> tiles_;
    std::optional<Size> tile_;
    Size canvas_;
    std::vector<Size> whole_;
    bool tilesHaveAlpha_ = false;
};

const HeifItem* Derivation::find(std::uint32_t id) const {
    const auto found = items_.items.find(id);
    return found == items_.items.end() ? nullptr : &found->second;
}

std::optional<Grid> Derivation::gridOf(const HeifItem& item) const {
    const auto bytes = file_.at(item.offset, std::min<std::uint64_t>(item.length, 12));
    const NumberReader numbers(bytes, ByteOrder::big);
    const auto head = numbers.u32(0);
    if (!head) return std::nullopt;
    const bool wide = (*head >> 16 & 1) != 0;
    const std::optional<std::uint32_t> width =
        wide ? numbers.u32(4) : std::optional<std::uint32_t>(numbers.u16(4));
    const std::optional<std::uint32_t> height =
        wide ? numbers.u32(8) : std::optional<std::uint32_t>(numbers.u16(6));
    if (!width || !height) return std::nullopt;
    return Grid{(*head >> 8 & 255) + 1, (*head & 255) + 1, {*width, *height}};
}

// Version and flags, the colour of the background, the canvas; then a position for each part.
bool Derivation::isWithinBudget(const HeifItem& overlay) const {
    const auto bytes = file_.at(overlay.offset, std::min<std::uint64_t>(overlay.length, 18));
    const NumberReader numbers(bytes, ByteOrder::big);
    const bool wide = (numbers.u8(1).value_or(0) & 1) != 0;
    const std::optional<std::uint32_t> width =
        wide ? numbers.u32(10) : std::optional<std::uint32_t>(numbers.u16(10));
    const std::optional<std::uint32_t> height =
        wide ? numbers.u32(14) : std::optional<std::uint32_t>(numbers.u16(12));
    return width && height && withinBudget({*width, *height});
}

// A tile brings its own alpha, which libheif takes to be as large as the tile. It reads one alpha
// of an item.
bool Derivation::followTile(std::uint32_t id) {
    const HeifItem* tile = find(id);
    if (tile == nullptr || !isCoded(*tile) || tile->cut || tile->transformed ||
        tile->sizes.size() != 1 || tile->alphas.size() > 1)
        return false;
    if (!tile_) tile_ = tile->sizes[0];
    if (*tile_ != tile->sizes[0]) return false;
    if (tile->alphas.empty()) return true;
    tilesHaveAlpha_ = true;
    const HeifItem* own = find(tile->alphas[0]);
    return own != nullptr && isCoded(*own) && !own->cut && !own->transformed && own->alphas.empty();
}

bool Derivation::followGrid(const HeifItem& item) {
    const auto grid = gridOf(item);
    if (!grid || item.parts.size() != grid->rows * grid->columns || item.sizes.size() != 1 ||
        item.sizes[0] != grid->output)
        return false;
    canvas_ = grid->output;
    for (const std::uint32_t id : item.parts)
        if (tiles_.insert(id).second && !followTile(id)) return false;
    return grid->columns * tile_->width >= grid->output.width &&
           grid->rows * tile_->height >= grid->output.height;
}

std::optional<int> Derivation::followParts(const HeifItem& item, int depth) {
    const bool overlay = item.type == fourLetterCode("iovl");
    int steps = 0;
    for (const std::uint32_t id : item.parts) {
        const HeifItem* part = find(id);
        if (overlay && (part == nullptr || !isCoded(*part))) return std::nullopt;
        const auto ofPart = follow(id, depth + 1);
        if (!ofPart) return std::nullopt;
        steps = std::max(steps, *ofPart);
    }
    return steps;
}

// How many steps come after the item's own.
std::optional<int> Derivation::followItem(const HeifItem& item, int depth) {
    if (item.cut || item.alphas.size() > 1) return std::nullopt;
    int steps = 0;
    if (!item.alphas.empty()) {
        const auto ofAlpha = follow(item.alphas[0], depth + 1);
        if (!ofAlpha) return std::nullopt;
        steps = *ofAlpha;
    }
    if (item.type == fourLetterCode("grid"))
        return followGrid(item) ? std::optional(steps) : std::nullopt;
    const bool same = item.type == fourLetterCode("iden");
    if (!same && item.type != fourLetterCode("iovl")) {
        whole_.insert(whole_.end(), item.sizes.begin(), item.sizes.end());
        return steps;
    }
    if (same ? item.parts.size() != 1 : !isWithinBudget(item)) return std::nullopt;
    const auto ofParts = followParts(item, depth);
    return ofParts ? std::optional(std::max(steps, *ofParts)) : std::nullopt;
}

// Each item once, however many refer to it; one that is being followed is derived from itself.
std::optional<int> Derivation::follow(std::uint32_t id, int depth) {
    if (depth > maxDerivationDepth) return std::nullopt;
    const auto [known, isNew] = steps_.try_emplace(id);
    if (isNew) {
        const HeifItem* item = find(id);
        const auto further = item != nullptr ? followItem(*item, depth) : std::nullopt;
        if (further) known->second = *further + 1;
    }
    const auto steps = known->second;
    return steps && depth - 1 + *steps <= maxDerivationDepth ? steps : std::nullopt;
}

// Beside a grid there may be one whole picture as large as the grid: its alpha, or the colours that
// the grid is the alpha of. A tile that is coded in that size leaves nothing of its own uncovered.
std::optional<CodedSizes> Derivation::sizes() const {
    if (!tile_) return CodedSizes{};
    if (!whole_.empty() && (whole_.size() > 1 || whole_[0] != canvas_ || tilesHaveAlpha_))
        return std::nullopt;
    CodedSizes sizes = whole_;
    sizes.push_back(*tile_);
    return sizes;
}

} // namespace

std::optional<CodedSizes> derivedSizes(BufferedFile& file, std::uint64_t begin, std::uint64_t end) {
    const auto items = readHeifItems(file, begin, end);
    if (!items) return std::nullopt;
    Derivation derivation(file, *items);
    if (!derivation.follow(items->primary, 1)) return std::nullopt;
    return derivation.sizes();
}

} // namespace sorvane::decoder
