#pragma once

#include <cstdint>
#include <span>

#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

/// The orientation that Exif data give, beginning with their TIFF header ("II" or "MM"). Data that
/// are cut short, garbled or silent about it, and values outside 1 to 8, mean upright.
Orientation exifOrientation(std::span<const std::uint8_t> exif);

} // namespace sorvane::decoder
