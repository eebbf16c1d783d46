#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What giflib and the decoder keep, at most: giflib's tables and two colour maps, a row of the
/// frame as indices and as pixels, a row of the canvas. No row is wider than 65,535 pixels.
inline constexpr std::uint64_t gifMemory = std::uint64_t{1} << 20;

/// GIF 87a and 89a: the first frame on the logical screen, which is the picture's size and is
/// transparent where the frame does not cover it, whatever background colour it names. What of the
/// frame lies outside is cut off. An index beyond the colour map is opaque black, as browsers have
/// it. A frame that neither brings a colour map nor finds a global one is no picture, for every
/// reader colours it otherwise. Damage down to the end of the frame's data is an answer of "no
/// picture", as far as it shows in a format without checksums; what follows the frame is not looked
/// at. A profile in an application extension is passed over. `file` must outlive the decoder.
std::unique_ptr<Decoder> openGif(ByteSource& file);

} // namespace sorvane::decoder
