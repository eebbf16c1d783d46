#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/tiff/tiff_file.h"
#include "decoder/formats/tiff/tiff_rows.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What the decoder and its library keep, at most: the file, a strip or tile of it as it is stored,
/// which may be all there is, the same decoded, the band that it belongs to; and the window of a
/// compression, for which Zstandard's reader takes up to 128 MiB.
inline constexpr std::uint64_t tiffMemory =
    2 * std::uint64_t{tiffFileLimit} + 2 * tiffBlockLimit + (std::uint64_t{160} << 20);

/// TIFF, the picture of the first directory: grey, RGB, palette, CMYK and YCbCr, with alpha or
/// without, of 1 to 16 bits a sample, in strips or tiles, samples together or apart. Damage is an
/// answer of "no picture". `file` must outlive the decoder.
std::unique_ptr<Decoder> openTiff(ByteSource& file);

} // namespace sorvane::decoder
