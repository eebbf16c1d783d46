#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

/// OpenJPEG keeps some 30 KB for each tile. Sixty million pixels in tiles of 64 x 64 are 14,649.
inline constexpr std::uint64_t maxJpeg2000Tiles = 16'384;

/// The first codestream of a JPEG 2000 file, in its container or bare, as far as its markers tell.
/// The bytes may be anything.
class Jpeg2000Codestream {
  public:
    /// From the beginning of the codestream to the end of the file; nothing when there is none.
    static std::optional<Jpeg2000Codestream> of(std::span<const std::uint8_t> file);

    /// How the picture is laid out in tiles, all in the same coordinates.
    struct Grid {
        std::uint32_t endX, endY;
        std::uint32_t originX, originY;
        std::uint32_t tileWidth, tileHeight;
        std::uint32_t tilesOriginX, tilesOriginY;

        std::uint64_t across() const;
        std::uint64_t down() const;
    };

    /// Nothing when the picture's size does not come first, or there are no tiles or too many.
    std::optional<Grid> grid() const;

    struct TilePart {
        /// Of its marker.
        std::size_t offset;
        std::uint16_t tile;
        /// How many parts of the tile it announces; 0: it does not say.
        std::uint8_t announced;
    };

    /// Calls `visit(part)` for each tile-part. False: one is damaged or not wholly there, or
    /// `visit` has given false.
    template<class Visit>
    bool eachTilePart(const Visit& visit) const {
        auto offset = eachSegment(mainHeader, startOfTilePart, [](auto, auto) {});
        while (offset && numbers_.u16(*offset) == startOfTilePart) {
            const auto tile = numbers_.u16(*offset + 4);
            const auto length = numbers_.u32(*offset + 6);
            const auto counts = numbers_.u16(*offset + 10);
            if (!length || !counts ||
                !visit(TilePart{*offset, *tile, static_cast<std::uint8_t>(*counts & 0xff)}))
                return false;
            if (*length == 0) break; // to the end of the codestream
            if (*length < minTilePart || *length > size() - *offset) return false;
            *offset += *length;
        }
        return true;
    }

    /// Calls `visit(marker, offset)`, the offset being that of the marker, for each segment from
    /// `offset` up to the marker `end`; gives the offset of that, or nothing if it is missing.
    template<class Visit>
    std::optional<std::size_t> eachSegment(std::size_t offset, std::uint16_t end,
                                           const Visit& visit) const {
        for (auto marker = numbers_.u16(offset); marker != end; marker = numbers_.u16(offset)) {
            const auto length = numbers_.u16(offset + 2);
            if (!length || *length < 2) return std::nullopt;
            visit(*marker, offset);
            offset += 2 + std::size_t{*length};
        }
        return offset;
    }

    static constexpr std::uint16_t startOfTilePart = 0xff90;
    static constexpr std::uint16_t startOfData = 0xff93;
    static constexpr std::size_t mainHeader = 2;
    static constexpr std::size_t tilePartHeader = 12;
    static constexpr std::size_t minTilePart = tilePartHeader + 2;

    const NumberReader& numbers() const { return numbers_; }
    std::size_t size() const { return bytes_.size(); }

  private:
    explicit Jpeg2000Codestream(std::span<const std::uint8_t> bytes)
        : bytes_(bytes), numbers_(bytes, ByteOrder::big) {}

    std::span<const std::uint8_t> bytes_;
    NumberReader numbers_;
};

} // namespace sorvane::decoder
