#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/bmp/bmp.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What the decoder keeps of a bitmap, at most: its picture, which waits for its mask, and a row of
/// the mask. A PNG takes what the decoder of that format takes.
inline constexpr std::uint64_t iconBitmapMemory = bmpMemory + pixelBudget / 8;

/// Windows icons and cursors: of their pictures the first in the directory, a PNG or a bitmap,
/// whose own size counts and not the directory's. A bitmap is followed by a mask of one bit a
/// pixel, which makes pixels transparent. In 32 bits alpha does that instead, unless it is 0
/// everywhere: then it was never written, and the mask decides. A first picture that is cut short,
/// or begins before the end of the directory's first entry, is rejected. `file` must outlive the
/// decoder.
std::unique_ptr<Decoder> openIcon(ByteSource& file);

} // namespace sorvane::decoder
