#pragma once

#include <cstdint>
#include <span>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

enum class ProfileVerdict {
    /// No profile, a damaged one, or one for other channels than the picture's: as if it were not
    /// there.
    unusable,
    /// Its colours are those of sRGB: the channels stay as they are.
    srgb,
    /// Anything else: the channels have to be converted.
    other,
};

/// What a profile, read from a file and unchecked, means for a picture of these channels. sRGB's
/// equivalents are the profiles of matrix and curves (grey: of one curve) whose curves bring
/// every 8-bit value to itself and whose primaries are sRGB's but for their rounding.
ProfileVerdict judgeProfile(std::span<const std::uint8_t> bytes, Channels channels);

} // namespace sorvane::decoder
