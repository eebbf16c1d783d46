#include "decoder/formats/jpeg2000/jpeg2000_codestream.h"

#include "decoder/input/four_letter_code.h"

namespace sorvane::decoder {

namespace {

constexpr std::uint16_t startOfCodestream = 0xff4f;
constexpr std::uint16_t imageAndTileSize = 0xff51;

constexpr std::uint32_t codestreamBox = fourLetterCode("jp2c");

// How many tiles lie along a side, from the origin of the tiles to the end of the picture.
std::uint64_t tilesAlong(std::uint32_t end, std::uint32_t tile, std::uint32_t origin) {
    if (tile == 0 || origin >= end) return 0;
    return (std::uint64_t{end} - origin + tile - 1) / tile;
}

} // namespace

std::optional<Jpeg2000Codestream> Jpeg2000Codestream::of(std::span<const std::uint8_t> file) {
    const NumberReader numbers(file, ByteOrder::big);
    if (numbers.u16(0) == startOfCodestream) return Jpeg2000Codestream(file);
    for (std::size_t offset = 0; numbers.u32(offset + 4);) {
        std::uint64_t header = 8;
        std::uint64_t length = *numbers.u32(offset);
        if (length == 1) {
            header = 16;
            length = numbers.u64(offset + 8).value_or(0);
        }
        if (*numbers.u32(offset + 4) == codestreamBox && offset + header <= file.size())
            return Jpeg2000Codestream(file.subspan(offset + header));
        if (length < header || length > file.size() - offset) return std::nullopt;
        offset += length;
    }
    return std::nullopt;
}

std::uint64_t Jpeg2000Codestream::Grid::across() const {
    return tilesAlong(endX, tileWidth, tilesOriginX);
}
std::uint64_t Jpeg2000Codestream::Grid::down() const {
    return tilesAlong(endY, tileHeight, tilesOriginY);
}

std::optional<Jpeg2000Codestream::Grid> Jpeg2000Codestream::grid() const {
    // After two markers, a length and the capabilities.
    constexpr std::size_t size = 4 + 2 + 2;
    const auto field = [&](std::size_t index) {
        return numbers_.u32(size + 4 * index).value_or(0);
    };
    const Grid grid{field(0), field(1), field(2), field(3), field(4), field(5), field(6), field(7)};
    if (numbers_.u16(mainHeader) != imageAndTileSize || grid.across() == 0 || grid.down() == 0 ||
        grid.across() > maxJpeg2000Tiles / grid.down())
        return std::nullopt;
    return grid;
}

} // namespace sorvane::decoder
