#include "decoder/formats/jpeg2000/jpeg2000_cost.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "identity/pixel_budget.h"

namespace sorvane::decoder {

namespace {

using Grid = Jpeg2000Codestream::Grid;

constexpr std::uint16_t codingStyle = 0xff52;
constexpr std::uint16_t codingStyleOfChannel = 0xff53;
constexpr std::size_t channelCountOffset = 40;

constexpr std::size_t maxLevels = 32;

std::uint64_t divided(std::uint64_t value, unsigned exponent) {
    return (value + (std::uint64_t{1} << exponent) - 1) >> exponent;
}

/// From `begin` up to `end` along one side.
struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;

    Range reduced(unsigned exponent) const {
        return {divided(begin, exponent), divided(end, exponent)};
    }

    /// How many cells of 2 to the power of `exponent`, counted from 0 on, the range touches.
    std::uint64_t cells(unsigned exponent) const {
        return begin < end ? divided(end, exponent) - (begin >> exponent) : 0;
    }

    /// In the half of the resolution `exponent` whose samples begin `half` of a step later.
    Range band(unsigned exponent, bool later) const {
        const std::uint64_t shift = later ? std::uint64_t{1} << (exponent - 1) : 0;
        const auto part = [&](std::uint64_t value) {
            return value > shift ? divided(value - shift, exponent) : 0;
        };
        return {part(begin), part(end)};
    }
};

/// How one channel is coded.
struct Coding {
    unsigned levels = 0;
    unsigned blockWidth = 0, blockHeight = 0;
    // For each resolution two exponents, of the width in the lower four bits.
    std::array<std::uint8_t, maxLevels + 1> precincts{};
};

/// How a tile is coded.
struct TileCoding {
    bool known = false;
    std::uint64_t layers = 0;
    std::array<Coding, maxJpeg2000Channels> channels;
};

struct Cost {
    std::uint64_t packets = 0;
    std::uint64_t blocks = 0;
};

// Of a channel whose samples lie between these coordinates.
Cost costOf(const Coding& coding, Range x, Range y) {
    Cost cost;
    for (unsigned resolution = 0; resolution <= coding.levels; ++resolution) {
        const bool lowest = resolution == 0;
        const unsigned reduction = coding.levels - resolution;
        const unsigned width = coding.precincts[resolution] % 16;
        const unsigned height = coding.precincts[resolution] / 16;
        cost.packets += x.reduced(reduction).cells(width) * y.reduced(reduction).cells(height);
        const unsigned blockWidth = std::min(coding.blockWidth, lowest ? width : width - 1);
        const unsigned blockHeight = std::min(coding.blockHeight, lowest ? height : height - 1);
        const unsigned half = lowest ? reduction : reduction + 1;
        for (int band = lowest ? 0 : 1; band < (lowest ? 1 : 4); ++band)
            cost.blocks += x.band(half, band % 2 != 0).cells(blockWidth) *
                           y.band(half, band >= 2).cells(blockHeight);
    }
    return cost;
}

class CostCheck {
  public:
    explicit CostCheck(const Jpeg2000Codestream& stream) : stream_(stream) {}

    bool accepts();

  private:
    std::optional<Coding> codingAt(std::size_t offset, bool hasPrecincts) const;
    bool readSegment(std::uint16_t marker, std::size_t offset, TileCoding& coding) const;
    std::optional<TileCoding> codingOf(const Jpeg2000Codestream::TilePart& part) const;
    bool take(const TileCoding& coding, std::uint16_t tile);

    const Jpeg2000Codestream& stream_;
    Grid grid_{};
    std::size_t channels_ = 0;
    TileCoding main_;
    std::uint64_t packets_ = 0;
    std::uint64_t visits_ = 0;
    std::uint64_t samples_ = 0;
};

// Levels, a block's width and height as exponents less 2, style, transform; then the precincts.
std::optional<Coding> CostCheck::codingAt(std::size_t offset, bool hasPrecincts) const {
    const NumberReader& numbers = stream_.numbers();
    Coding coding;
    coding.levels = numbers.u8(offset).value_or(255);
    if (coding.levels > maxLevels || !numbers.u8(offset + 4)) return std::nullopt;
    coding.blockWidth = (*numbers.u8(offset + 1) & 15U) + 2;
    coding.blockHeight = (*numbers.u8(offset + 2) & 15U) + 2;
    coding.precincts.fill(0xff);
    for (std::size_t i = 0; hasPrecincts && i <= coding.levels; ++i) {
        const auto exponents = numbers.u8(offset + 5 + i);
        // Only the lowest resolution may have precincts of one sample.
        if (!exponents || (i > 0 && (*exponents % 16 == 0 || *exponents < 16))) return std::nullopt;
        coding.precincts[i] = *exponents;
    }
    return coding;
}

bool CostCheck::readSegment(std::uint16_t marker, std::size_t offset, TileCoding& coding) const {
    const NumberReader& numbers = stream_.numbers();
    const auto first = numbers.u8(offset + 4);
    if (marker == codingStyle) {
        const auto read = codingAt(offset + 9, first && *first % 2 != 0);
        if (!read) return false;
        coding.channels.fill(*read);
        coding.layers = *numbers.u16(offset + 6);
        coding.known = true;
    }
    if (marker == codingStyleOfChannel) {
        const auto style = numbers.u8(offset + 5);
        const auto read = codingAt(offset + 6, style && *style % 2 != 0);
        if (!read || *first >= channels_) return false;
        coding.channels[*first] = *read;
    }
    return true;
}

std::optional<TileCoding> CostCheck::codingOf(const Jpeg2000Codestream::TilePart& part) const {
    TileCoding coding = main_;
    bool good = true;
    const auto data = stream_.eachSegment(part.offset + Jpeg2000Codestream::tilePartHeader,
                                          Jpeg2000Codestream::startOfData,
                                          [&](std::uint16_t marker, std::size_t offset) {
                                              good = good && readSegment(marker, offset, coding);
                                          });
    return data && good && coding.known ? std::optional(coding) : std::nullopt;
}

// Adds what the tile takes. False: it is too much.
bool CostCheck::take(const TileCoding& coding, std::uint16_t tile) {
    const auto along = [](std::uint64_t index, std::uint64_t origin, std::uint64_t side,
                          std::uint64_t begin, std::uint64_t end) {
        return Range{std::max(origin + index * side, begin),
                     std::min(origin + (index + 1) * side, end)};
    };
    const Range x = along(tile % grid_.across(), grid_.tilesOriginX, grid_.tileWidth, grid_.originX,
                          grid_.endX);
    const Range y = along(tile / grid_.across(), grid_.tilesOriginY, grid_.tileHeight,
                          grid_.originY, grid_.endY);
    const NumberReader& numbers = stream_.numbers();
    std::uint64_t blocks = 0;
    std::uint64_t samples = 0;
    for (std::size_t channel = 0; channel < channels_; ++channel) {
        // After the channels' count three bytes for each: depth, and the steps of its samples.
        const auto stepX = numbers.u8(channelCountOffset + 3 + 3 * channel).value_or(0);
        const auto stepY = numbers.u8(channelCountOffset + 4 + 3 * channel).value_or(0);
        if (stepX == 0 || stepY == 0) return false;
        const auto stepped = [](Range range, std::uint64_t step) {
            const auto first = (range.begin + step - 1) / step;
            return Range{first, std::max(first, (range.end + step - 1) / step)};
        };
        const Range columns = stepped(x, stepX);
        const Range rows = stepped(y, stepY);
        const Cost cost = costOf(coding.channels[channel], columns, rows);
        samples += (columns.end - columns.begin) * (rows.end - rows.begin);
        packets_ += cost.packets * coding.layers;
        visits_ += cost.blocks * coding.layers;
        blocks += cost.blocks;
    }
    samples_ += samples;
    const bool alone = grid_.across() * grid_.down() == 1;
    return 4 * (samples_ + (alone ? 0 : samples)) + codeBlockMemory * blocks <= maxOpenjpegMemory &&
           packets_ <= stream_.size() && visits_ <= pixelBudget + 8 * std::uint64_t{stream_.size()};
}

bool CostCheck::accepts() {
    const auto grid = stream_.grid();
    channels_ = stream_.numbers().u16(channelCountOffset).value_or(0);
    if (!grid ||
        !withinPixelBudget(grid->endX - std::min(grid->endX, grid->originX),
                           grid->endY - std::min(grid->endY, grid->originY)) ||
        channels_ == 0 || channels_ > maxJpeg2000Channels)
        return false;
    grid_ = *grid;
    bool good = true;
    const auto parts =
        stream_.eachSegment(Jpeg2000Codestream::mainHeader, Jpeg2000Codestream::startOfTilePart,
                            [&](std::uint16_t marker, std::size_t offset) {
                                good = good && readSegment(marker, offset, main_);
                            });
    if (!parts || !good) return false;
    // How a tile is coded stands in its first part, and parts of one tile may be many.
    std::vector<bool> taken(grid_.across() * grid_.down());
    return stream_.eachTilePart([&](const Jpeg2000Codestream::TilePart& part) {
        if (part.tile >= taken.size()) return false;
        if (taken[part.tile]) return true;
        taken[part.tile] = true;
        const auto coding = codingOf(part);
        return coding && take(*coding, part.tile);
    });
}

} // namespace

bool isWithinDecodingCost(const Jpeg2000Codestream& stream) { return CostCheck(stream).accepts(); }

} // namespace sorvane::decoder
