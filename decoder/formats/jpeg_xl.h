#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libjxl keeps, at most: four channels without loss at 4 bytes a sample, once as they are
/// decoded and once as they are put together with an earlier frame; and as much again for samples
/// and references that only some pictures have.
inline constexpr std::uint64_t jpegXlMemory = std::uint64_t{3} * 16 * pixelBudget;

/// JPEG XL, bare and in its container: the first picture of an animation, without its preview. A
/// picture that was coded for the eye comes in sRGB, every other in its own colours. Damage, inks
/// and high dynamic range are an answer of "no picture". `file` must outlive the decoder.
std::unique_ptr<Decoder> openJpegXl(ByteSource& file);

} // namespace sorvane::decoder
