#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libjxl keeps, at most: four lossless channels at 4 bytes a sample, once as decoded and once
/// blended with an earlier frame; as much again for extra channels and reference frames; and the
/// frame.
inline constexpr std::uint64_t jpegXlMemory = std::uint64_t{3} * 16 * pixelBudget + maxFrameBytes;

/// JPEG XL, bare and in its container: the first frame, not the preview. A picture that was coded
/// in XYB comes in sRGB, every other one in its own colours. Rejected are damage, inks and high
/// dynamic range. `file` must outlive the decoder.
std::unique_ptr<Decoder> openJpegXl(ByteSource& file);

} // namespace sorvane::decoder
