#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libjpeg keeps, at most: every coefficient of four channels, 16 bits each, when they come
/// in several scans; and the frame of a turned picture.
inline constexpr std::uint64_t jpegMemory = std::uint64_t{4} * 2 * pixelBudget + maxFrameBytes;

/// Lets libjpeg learn what the processor can do, for which it reads a file on arm64 when it first
/// takes up pixels.
void prepareJpeg();

/// JPEG, baseline and progressive, of one channel (grey), three (YCbCr, RGB) or four (CMYK, YCCK).
/// A picture that is cut short or damaged keeps the pixels that could be decoded; the others are
/// what the library fills in. `file` must outlive the decoder.
std::unique_ptr<Decoder> openJpeg(ByteSource& file);

} // namespace sorvane::decoder
