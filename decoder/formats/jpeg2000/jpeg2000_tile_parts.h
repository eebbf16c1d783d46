#pragma once

#include "decoder/formats/jpeg2000/jpeg2000_codestream.h"

namespace sorvane::decoder {

/// True when the codestream holds every tile of its picture, each with as many tile-parts as it
/// announces. OpenJPEG decodes what is there and leaves the rest of the picture unwritten.
bool hasAllTileParts(const Jpeg2000Codestream& stream);

} // namespace sorvane::decoder
