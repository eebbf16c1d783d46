#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What the decoder keeps, at most: two rows and a palette, each of 65,535 times four bytes; and
/// the frame of a picture that does not begin at its top.
inline constexpr std::uint64_t tgaMemory = std::uint64_t{3} * 65'535 * 4 + maxFrameBytes;

/// TGA of a palette, true colour (15, 16, 24 and 32 bits) and grey (8 bits, and 16 with alpha), run
/// lengths or not, from any of the four corners. A fourth byte is alpha, even where the header
/// counts no bits of alpha: writers that leave the count at 0 mean alpha too. The sixteenth bit of
/// 16 is not alpha. An index outside the palette is black. A file that is cut short is rejected.
/// `file` must outlive the decoder.
std::unique_ptr<Decoder> openTga(ByteSource& file);

} // namespace sorvane::decoder
