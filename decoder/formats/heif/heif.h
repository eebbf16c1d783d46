#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The most bytes of a file that are kept for libheif: a picture of the whole budget with four
/// channels of 16 bits, not compressed at all.
inline constexpr std::uint64_t maxHeifFileBytes = std::uint64_t{8} * pixelBudget;

/// What libheif and the video decoders keep, at most: the file; the item's bytes once more, and
/// once more in the video decoder; and four times the picture with four channels of 16 bits: in the
/// video decoder, copied from there, as RGB, and turned.
inline constexpr std::uint64_t heifMemory =
    3 * maxHeifFileBytes + std::uint64_t{4} * 8 * pixelBudget;

/// Starts libheif without the decoders that newer releases load from the system's directories: ours
/// stand in for them, and one that could not be loaded would be told on standard error.
void prepareHeif();

/// HEIF with a picture in HEVC (HEIC) or AV1 (AVIF): the primary item, be it coded, a grid or
/// otherwise derived, with its alpha. The pixels come turned and clipped by the item's own
/// properties; the declared size is the one before that. An Exif orientation is ignored. Rejected
/// are damage that the video decoders notice (inside the arithmetic code of a picture they notice
/// none), a grid that its tiles do not cover, and colours without a profile that nclxColour does
/// not know. `file` must outlive the decoder.
std::unique_ptr<Decoder> openHeif(ByteSource& file);

} // namespace sorvane::decoder
