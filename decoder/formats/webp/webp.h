#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/webp/webp_container.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libwebp and the decoder keep, at most: the compressed chunks, the one of alpha twice while
/// they are joined; the frame's pixels twice, as they are handed over, to be freed row by row, and
/// as libwebp keeps them for itself; a row of the canvas; libwebp's tables; and the frame of a
/// turned picture.
inline constexpr std::uint64_t webpMemory =
    maxColourChunk(pixelBudget) + 2 * maxAlphaChunk(pixelBudget) +
    std::uint64_t{2} * 4 * pixelBudget + (std::uint64_t{128} << 20) + maxFrameBytes;

/// WebP, lossy and lossless, with alpha; of an animation the first frame on the canvas, which is
/// the picture's size and is transparent where the frame does not cover it, whatever background
/// colour the file names. The part of the frame outside the canvas is cut off. A file that is
/// damaged in anything the picture is made of, or that ends before Exif data that its header
/// announces, is rejected; frames and other chunks after the picture are not read. `file` must
/// outlive the decoder.
std::unique_ptr<Decoder> openWebp(ByteSource& file);

} // namespace sorvane::decoder
