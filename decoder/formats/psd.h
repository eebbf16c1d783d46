#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What the decoder keeps, at most: the picture, whose channels come one after the other, with four
/// channels of 16 bits, and a stored row as wide as the whole budget.
inline constexpr std::uint64_t psdMemory = std::uint64_t{8 + 2} * pixelBudget;

/// PSD and PSB: the merged picture, of bits, grey (duotone too), a palette, RGB or CMYK, 8 or 16
/// bits, raw or in run lengths, with its profile. The first channel beyond the colours is alpha
/// where the layers say so; the colours are stored blended with white, which is undone. In CMYK the
/// merged picture is taken as it is, on white. Layers are skipped. Lab, multichannel and 32 bits
/// are not read. A file that is cut short is rejected. `file` must outlive the decoder.
std::unique_ptr<Decoder> openPsd(ByteSource& file);

} // namespace sorvane::decoder
