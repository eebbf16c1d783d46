#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What the decoder keeps, at most: a stored row and its samples, each as wide as the whole budget
/// with four channels of 16 bits.
inline constexpr std::uint64_t pnmMemory = std::uint64_t{2} * 8 * pixelBudget;

/// The portable maps: bits, greys and colours, in text (P1 to P3) and in bytes (P4 to P6), and PAM
/// (P7) of black and white, grey and RGB, each with alpha or without. Values are scaled to 8 bits
/// when their maximum is at most 255, else to 16, rounding to the nearest. Of several pictures the
/// first counts. A picture that is cut short, or has a value above its own maximum, is rejected.
/// `file` must outlive the decoder.
std::unique_ptr<Decoder> openPnm(ByteSource& file);

} // namespace sorvane::decoder
