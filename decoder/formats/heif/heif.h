#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The bytes of a file that are kept for libheif, at most: a picture of the whole budget with four
/// channels of 16 bits that its coder could not make any smaller.
inline constexpr std::uint64_t heifFileLimit = std::uint64_t{8} * pixelBudget;

/// What libheif and the decoders behind it keep, at most: the file; the item's bytes once more, and
/// once more in the decoder; and four times the picture with four channels of 16 bits: as the
/// decoder has it, as it was copied from there, as RGB, and turned.
inline constexpr std::uint64_t heifMemory = 3 * heifFileLimit + std::uint64_t{4} * 8 * pixelBudget;

/// Lets libheif look for decoders of its own, which it does in the system's folders.
void prepareHeif();

/// HEIF with a picture in HEVC (HEIC) or AV1 (AVIF): the primary item, be it coded, a grid or
/// derived, with its alpha. The pixels come upright and clipped as the item's own properties say;
/// the declared size is that of before. An Exif orientation says nothing here. Damage that the
/// decoders notice (they find none inside a picture's own arithmetic code), a grid that its tiles
/// do not wholly cover, and colours that are neither sRGB's nor those of a profile, are an answer
/// of "no picture". `file` must outlive the decoder.
std::unique_ptr<Decoder> openHeif(ByteSource& file);

} // namespace sorvane::decoder
