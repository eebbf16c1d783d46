#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

/// Before Exif data in a JPEG, and in some WebP files.
inline constexpr std::string_view exifPrefix("Exif\0\0", 6);

/// The orientation that Exif data give, beginning with their TIFF header ("II" or "MM"), as a
/// number of any unsigned type. Data that are cut short, damaged or without one, and numbers
/// outside 1 to 8, mean upright.
Orientation exifOrientation(std::span<const std::uint8_t> exif);

} // namespace sorvane::decoder
