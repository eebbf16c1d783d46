#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "decoder/input/byte_source.h"
#include "decoder/picture/colour_statement.h"
#include "decoder/picture/geometry.h"
#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

/// The first picture of a WebP file, still compressed, and what its container says about it.
struct WebpPicture {
    Size canvas;
    /// Where on the canvas the frame stands, and its size.
    Position corner;
    Size frame;
    Orientation orientation = Orientation::upright;
    ColourStatements colour;
    /// The chunk of the pixels, or that of their alpha and the one of their colours.
    std::unique_ptr<std::uint8_t[]> chunks;
    std::size_t chunksSize = 0;
};

/// How much of a chunk of pixels is kept, for a picture of `pixels`: four codes of 15 bits each,
/// and their tables. A chunk may be longer, but decoding needs no more of it.
constexpr std::size_t maxColourChunk(std::uint64_t pixels) {
    return (std::size_t{32} << 20) + 8 * pixels;
}

/// The same of a chunk of alpha, which is one code.
constexpr std::size_t maxAlphaChunk(std::uint64_t pixels) {
    return (std::size_t{16} << 20) + 2 * pixels;
}

/// Reads a file up to its first picture, and further only where its header announces Exif data that
/// have not come yet. Nothing: there is no picture, it is over the budget, its sizes do not agree,
/// or the file ends too early. It also ends too early without the announced Exif data, since it may
/// have lost its orientation. Profile and Exif data count when the header announces them, the
/// profile only before the picture, and of each the first one. Everything else is skipped and takes
/// no memory.
std::optional<WebpPicture> readWebpContainer(ByteSource& file);

} // namespace sorvane::decoder
