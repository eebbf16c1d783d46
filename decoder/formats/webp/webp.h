#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/webp/webp_container.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libwebp and the decoder keep, at most: the compressed chunks, the one of alpha twice while
/// they are joined; the frame's pixels as they are handed over, which are given back row by row,
/// and as libwebp keeps them for itself; a row of the canvas; libwebp's tables.
inline constexpr std::uint64_t webpMemory =
    colourChunkLimit(pixelBudget) + 2 * alphaChunkLimit(pixelBudget) +
    std::uint64_t{2} * 4 * pixelBudget + (std::uint64_t{128} << 20);

/// WebP, lossy and lossless, with alpha; of an animation the first frame on the canvas, which is
/// the picture's size and is transparent where the frame does not cover it, whatever background
/// colour the file names. What of the frame lies outside is cut off. Damage to anything the picture
/// is made of is an answer of "no picture", and so is an end of the file before Exif data that its
/// header announces; frames and other chunks behind the picture are not looked at. `file` must
/// outlive the decoder.
std::unique_ptr<Decoder> openWebp(ByteSource& file);

} // namespace sorvane::decoder
