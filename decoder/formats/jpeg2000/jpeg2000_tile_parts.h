#pragma once

#include <cstdint>
#include <span>

namespace sorvane::decoder {

/// True when a JPEG 2000 file, in its container or bare, holds every tile of its picture, each with
/// as many tile-parts as it announces. OpenJPEG decodes what is there and leaves the rest of the
/// picture unwritten. The bytes may be anything; false when they are no codestream.
bool hasAllTileParts(std::span<const std::uint8_t> file);

} // namespace sorvane::decoder
