#pragma once

#include <cstdint>
#include <span>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

enum class ProfileVerdict {
    /// Damaged, or for other channels than the picture's: as if it were absent.
    unusable,
    /// Equivalent to sRGB: the samples stay as they are.
    srgb,
    /// Anything else: the samples have to be converted.
    other,
};

/// What a profile, as read from a file and unchecked, means for a picture of these channels.
/// Equivalent to sRGB is a profile of matrix and curves (for grey: of one curve) whose curves map
/// every 8-bit value to itself and whose primaries are sRGB's up to rounding.
ProfileVerdict judgeProfile(std::span<const std::uint8_t> bytes, Channels channels);

} // namespace sorvane::decoder
