#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What giflib and the decoder keep, at most: two tables of codes and two colour maps, a row of the
/// frame as indices and as pixels, a row of the canvas. No row is wider than 65,535 pixels. And the
/// frame of an interlaced picture.
inline constexpr std::uint64_t gifMemory = (std::uint64_t{1} << 20) + maxFrameBytes;

/// GIF 87a and 89a: the first frame on the logical screen, which is the picture's size and is
/// transparent where the frame does not cover it, whatever background colour it names. The part of
/// the frame outside the screen is cut off. An index beyond the colour map is opaque black, as in
/// browsers. A frame with neither a colour map of its own nor a global one is rejected, because
/// readers differ in its colours. A file that is damaged before the end of the frame's data is
/// rejected, as far as damage shows in a format without checksums; what comes after the frame is
/// not read. LZW minimum code sizes of 2 to 11 are read, although 8 is enough; an index of more
/// than 8 bits is damage. A profile in an application extension is ignored. `file` must outlive the
/// decoder.
std::unique_ptr<Decoder> openGif(ByteSource& file);

} // namespace sorvane::decoder
