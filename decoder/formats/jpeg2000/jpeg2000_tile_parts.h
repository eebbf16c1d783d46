#pragma once

#include <cstdint>
#include <span>

namespace sorvane::decoder {

/// True when a JPEG 2000 file, boxed or bare, holds every tile of its picture with as many parts as
/// the tile announces. OpenJPEG decodes what is there and leaves the rest of the picture as it is.
/// Pure arithmetic on bytes that nobody has checked; false when they do not make sense.
bool hasAllTileParts(std::span<const std::uint8_t> file);

} // namespace sorvane::decoder
