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

/// A device-independent bitmap's own description, in any of its forms: that of OS/2 1 (12 bytes),
/// of OS/2 2 (16 and 64) and of Windows (40, and 52 to 124 with masks and colours).
struct DibHeader {
    Size size;
    /// False: the lowest row comes first.
    bool topDown = false;
    /// Bits of a stored pixel: 1, 2, 4, 8 (places in the palette), 16, 24 or 32 (values under
    /// masks).
    std::uint16_t depth = 0;
    DibCoding coding = DibCoding::plain;
    /// 32 bits without masks of their own: the fourth byte means nothing in a bitmap file.
    bool fourthByteUnsaid = false;
    /// The bits of red, green, blue and alpha in a pixel's value, each without a gap.
    std::array<std::uint32_t, 4> masks{};
    /// Red, green, blue; what the file leaves out is black.
    std::array<std::array<std::uint8_t, 3>, 256> palette{};
    DibColours colours = DibColours::unspecified;
    /// Where the profile lies, counted from the header's first byte.
    std::uint32_t profilePlace = 0;
    std::uint32_t profileLength = 0;
};

/// Reads the header, at which `file` stands, and its masks and palette; then goes on to the place
/// `pixels`, or, where that is 0, stays behind the palette. Nothing: no bitmap that is read here,
/// or one that is cut short. The size is not judged.
std::optional<DibHeader> readDibHeader(SequentialReader& file, std::uint64_t pixels);

} // namespace sorvane::decoder
