#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What the decoder keeps, at most: the picture, when its profile stands after it, and two rows
/// that may each be as wide as the whole budget; and the frame.
inline constexpr std::uint64_t bmpMemory = std::uint64_t{3} * 4 * pixelBudget + maxFrameBytes;

/// BMP of OS/2 and Windows: 1 to 32 bits, any masks without gaps, the three run-length codings. In
/// 32 bits without masks the fourth byte is not alpha. An embedded profile counts; one in a file of
/// its own and calibrated primaries do not. Pixels coded as JPEG or PNG, Huffman coding and arrays
/// of bitmaps are not read. A file that is cut short is rejected. `file` must outlive the decoder.
std::unique_ptr<Decoder> openBmp(ByteSource& file);

} // namespace sorvane::decoder
