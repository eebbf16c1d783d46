#pragma once

#include <cstdint>
#include <memory>

#include "decoder/formats/tiff/tiff_file.h"
#include "decoder/formats/tiff/tiff_rows.h"
#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What the decoder and its library keep, at most: the file; a strip or tile as it is stored, which
/// may be the whole file; the same decoded; the band of tiles that it belongs to; the window of a
/// compression, which takes up to 128 MiB with Zstandard; and the frame of a turned picture.
inline constexpr std::uint64_t tiffMemory = 2 * std::uint64_t{maxTiffFileBytes} +
                                            2 * maxTiffBlockBytes + (std::uint64_t{160} << 20) +
                                            maxFrameBytes;

/// Lets the library that libtiff inflates with learn what the processor can do, for which it reads
/// a file on arm64 at its first checksum. libtiff's own JPEG is that of `prepareJpeg`.
void prepareTiff();

/// TIFF, the picture of the first directory: grey, RGB, palette, CMYK and YCbCr, with alpha or
/// without, of 1 to 32 bits a sample, in strips or tiles, interleaved or planar. A damaged file is
/// rejected. `file` must outlive the decoder.
std::unique_ptr<Decoder> openTiff(ByteSource& file);

} // namespace sorvane::decoder
