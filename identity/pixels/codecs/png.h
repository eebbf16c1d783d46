#pragma once

#include <memory>

#include "identity/pixels/byte_source.h"
#include "identity/pixels/picture.h"

namespace sorvane::pixels {

/// PNG in every colour type, depth and interlace; of an animated one the default image. Damage to
/// anything the picture is made of, down to a missing IEND, is an answer of "no picture": a cut
/// file may have lost its orientation, and is not the file that somebody copied. An ancillary chunk
/// that fails its checksum counts as absent, and what follows IEND is not looked at. `file` must
/// outlive the codec.
std::unique_ptr<Codec> openPng(ByteSource& file);

} // namespace sorvane::pixels
