#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "decoder/input/sequential_reader.h"
#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

enum class DibCoding : std::uint8_t { plain, rle4, rle8, rle24 };

/// What the newest form of the header says about the colours.
enum class DibColours : std::uint8_t { unspecified, srgb, profile };

/// The header of a device-independent bitmap, in any of its forms: that of OS/2 1 (12 bytes), of
/// OS/2 2 (16 and 64) and of Windows (40, and 52 to 124 with masks and colours).
struct DibHeader {
    Size size;
    /// False: the lowest row comes first.
    bool topDown = false;
    /// Bits of a stored pixel: 1, 2, 4, 8 (an index in the palette), 16, 24 or 32 (a value under
    /// masks).
    std::uint16_t depth = 0;
    DibCoding coding = DibCoding::plain;
    /// 32 bits without masks in the file: in a bitmap file the fourth byte has no meaning.
    bool fourthByteUnspecified = false;
    /// The bits of red, green, blue and alpha in a pixel's value, each without a gap.
    std::array<std::uint32_t, 4> masks{};
    /// Red, green, blue; what the file leaves out is black.
    std::array<std::array<std::uint8_t, 3>, 256> palette{};
    DibColours colours = DibColours::unspecified;
    /// From the header's first byte.
    std::uint32_t profileOffset = 0;
    std::uint32_t profileLength = 0;
};

/// Reads the header, which is next in `file`, and its masks and palette; then goes on to the offset
/// `pixels`, or stays after the palette when that is 0. Nothing: the bitmap is of a form that is
/// not read here, or is cut short. The size is not checked.
std::optional<DibHeader> readDibHeader(SequentialReader& file, std::uint64_t pixels);

} // namespace sorvane::decoder
