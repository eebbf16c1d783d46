#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The bytes of a file that are kept, at most: a picture of the whole budget with four channels of
/// 16 bits that its coder could not make any smaller.
inline constexpr std::uint64_t jpeg2000FileLimit = std::uint64_t{8} * pixelBudget;

/// What the decoder and OpenJPEG keep, at most: the file, once more in the tiles; four channels at
/// 4 bytes a sample, as tiles and as the picture; and half as much for the blocks that they are
/// coded in.
inline constexpr std::uint64_t jpeg2000Memory =
    2 * jpeg2000FileLimit + std::uint64_t{48} * pixelBudget;

/// JPEG 2000, in its container (JP2) and bare: grey, RGB, sYCC and CMYK of 1 to 16 bits, signed or
/// not, palettes, channels of fewer samples than the first, alpha where the channels' definitions
/// say so; without such, a second or a fourth channel is the alpha. A picture that is cut short or
/// lacks a part of a tile, and one of other colours, are an answer of "no picture"; so is damage,
/// as far as it shows: coded data have no checksum. `file` must outlive the decoder.
std::unique_ptr<Decoder> openJpeg2000(ByteSource& file);

} // namespace sorvane::decoder
