#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "identity/pixels/byte_source.h"
#include "identity/pixels/codecs/bmp.h"
#include "identity/pixels/codecs/png.h"
#include "identity/pixels/picture.h"

namespace sorvane::pixels {

/// What the codec keeps, at most: what a PNG takes, or a bitmap, whose picture waits for its mask,
/// and a row of the mask.
inline constexpr std::uint64_t iconMemory = std::max(bmpMemory + pixelBudget / 8, pngMemory);

/// Windows icons and cursors: of their pictures the first in the directory, a PNG or a bitmap,
/// whose own size counts and not the directory's. A bitmap has a mask of one bit a pixel behind it,
/// which makes pixels transparent. In 32 bits alpha does that instead, unless it is 0 everywhere:
/// then it was never written, and the mask decides. A first picture that is cut short, or lies
/// before the end of the directory, is none. `file` must outlive the codec.
std::unique_ptr<Codec> openIcon(ByteSource& file);

} // namespace sorvane::pixels
