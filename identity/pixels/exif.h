#pragma once

#include <cstdint>
#include <span>

#include "identity/pixels/orientation.h"

namespace sorvane::pixels {

/// The orientation that Exif data give, beginning with their TIFF header ("II" or "MM"). Data that
/// are cut short, garbled or silent about it, and values outside 1 to 8, mean upright.
Orientation exifOrientation(std::span<const std::uint8_t> exif);

} // namespace sorvane::pixels
