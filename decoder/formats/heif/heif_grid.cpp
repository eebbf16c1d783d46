#include "decoder/formats/heif/heif_grid.h"

#include <algorithm>
#include <array>

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

    bool follow(std::uint32_t id, int depth);
    std::optional<CodedSizes> sizes() const;

  private:
    const HeifItem* find(std::uint32_t id) const;
    std::optional<Grid> gridOf(const HeifItem& item) const;
    bool followGrid(const HeifItem& item);
    bool followPart(std::uint32_t id, int depth);

    BufferedFile& file_;
    const HeifItems& items_;
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

// A tile brings its own alpha, which libheif takes to be as large as the tile.
bool Derivation::followGrid(const HeifItem& item) {
    const auto grid = gridOf(item);
    if (!grid || item.parts.size() != grid->rows * grid->columns || item.sizes.size() != 1 ||
        item.sizes[0] != grid->output)
        return false;
    canvas_ = grid->output;
    for (const std::uint32_t id : item.parts) {
        const HeifItem* tile = find(id);
        if (tile == nullptr || !isCoded(*tile) || tile->cut || tile->transformed ||
            tile->sizes.size() != 1)
            return false;
        if (!tile_) tile_ = tile->sizes[0];
        if (*tile_ != tile->sizes[0]) return false;
        for (const std::uint32_t alpha : tile->alphas) {
            const HeifItem* own = find(alpha);
            if (own == nullptr || !isCoded(*own) || own->cut || own->transformed ||
                !own->alphas.empty())
                return false;
            tilesHaveAlpha_ = true;
        }
    }
    return grid->columns * tile_->width >= grid->output.width &&
           grid->rows * tile_->height >= grid->output.height;
}

bool Derivation::followPart(std::uint32_t id, int depth) {
    const HeifItem* part = find(id);
    return part != nullptr && isCoded(*part) && follow(id, depth);
}

bool Derivation::follow(std::uint32_t id, int depth) {
    const HeifItem* item = find(id);
    if (item == nullptr || item->cut || depth > maxDerivationDepth) return false;
    // libheif reads one alpha of an item.
    if (item->alphas.size() > 1 || (!item->alphas.empty() && !follow(item->alphas[0], depth + 1)))
        return false;
    if (item->type == fourLetterCode("grid")) return followGrid(*item);
    if (item->type == fourLetterCode("iden"))
        return item->parts.size() == 1 && follow(item->parts[0], depth + 1);
    if (item->type == fourLetterCode("iovl"))
        return std::ranges::all_of(item->parts,
                                   [&](auto part) { return followPart(part, depth + 1); });
    whole_.insert(whole_.end(), item->sizes.begin(), item->sizes.end());
    return true;
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
