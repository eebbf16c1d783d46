#pragma once

#include <memory>

#include "identity/pixels/byte_source.h"
#include "identity/pixels/picture.h"

namespace sorvane::pixels {

/// JPEG, baseline and progressive, of one channel (grey) or three (YCbCr, RGB). A picture that is
/// cut short or damaged keeps what decoded, and the rest of its pixels are what the library makes
/// of the gap. `file` must outlive the codec.
std::unique_ptr<Codec> openJpeg(ByteSource& file);

} // namespace sorvane::pixels
