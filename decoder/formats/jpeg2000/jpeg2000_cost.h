#pragma once

#include <cstdint>

#include "decoder/formats/jpeg2000/jpeg2000_codestream.h"

namespace sorvane::decoder {

/// What OpenJPEG may take for a picture and the tile it is decoding, by this estimate: 4 bytes for
/// each sample, once if there is but one tile, and 850 for each code block of a tile. Pictures of
/// the whole budget keep far below it: three channels in blocks of 32 x 32 are 870 MB.
inline constexpr std::uint64_t maxOpenjpegMemory = 1'300'000'000;
inline constexpr std::uint64_t codeBlockMemory = 850;

inline constexpr std::size_t maxJpeg2000Channels = 4;

/// Whether decoding costs no more than the file's length and the pixel budget justify. A hundred
/// bytes can declare billions of packets and code blocks, for which OpenJPEG takes memory and time
/// before it finds the data missing. So: a packet has a byte at least, also an empty one, and there
/// are no more of them than bytes; the blocks of all layers, which are visited one by one, are no
/// more than the pixels of the budget and the bits of the file; and the memory is within the limit.
/// False also when the coding of a tile is not declared, for a picture over the budget, and for
/// more than maxJpeg2000Channels channels.
bool isWithinDecodingCost(const Jpeg2000Codestream& stream);

} // namespace sorvane::decoder
