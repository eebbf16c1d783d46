#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/jpeg2000/jpeg2000_cost.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The most bytes of a file that are kept: a picture of the whole budget with four channels of 16
/// bits, not compressed at all.
inline constexpr std::uint64_t maxJpeg2000FileBytes = std::uint64_t{8} * pixelBudget;

/// What the decoder and OpenJPEG keep, at most: the file, and its tiles once more; and what
/// OpenJPEG may take for them.
inline constexpr std::uint64_t jpeg2000Memory = 2 * maxJpeg2000FileBytes + maxOpenjpegMemory;

/// JPEG 2000, in its container (JP2) and bare: grey, RGB, sYCC and CMYK of 1 to 16 bits, signed or
/// not, palettes, subsampled channels. Alpha is what the channels' definitions call so; without
/// definitions it is a second or a fourth channel. Rejected are a picture that is cut short or
/// lacks a part of a tile, other colours, one whose decoding costs too much, and damage as far as
/// it shows: coded data have no checksum. `file` must outlive the decoder.
std::unique_ptr<Decoder> openJpeg2000(ByteSource& file);

} // namespace sorvane::decoder
