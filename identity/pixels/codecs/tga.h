#pragma once

#include <cstdint>
#include <memory>

#include "identity/pixels/byte_source.h"
#include "identity/pixels/picture.h"

namespace sorvane::pixels {

/// What the codec keeps, at most: two rows and a palette, each of 65,535 times four bytes.
inline constexpr std::uint64_t tgaMemory = std::uint64_t{3} * 65'535 * 4;

/// TGA of a palette, true colour (15, 16, 24 and 32 bits) and grey (8 bits, and 16 with alpha), run
/// lengths or not, from any of the four corners. A fourth byte is alpha, whether the file counts it
/// as such or not: the writers that leave the count at 0 mean it too. The one bit that 16 leave is
/// not. What is missing in the palette is black. A file that is cut short is no picture. `file`
/// must outlive the codec.
std::unique_ptr<Codec> openTga(ByteSource& file);

} // namespace sorvane::pixels
