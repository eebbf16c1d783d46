#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "decoder/formats/png/png_chunks.h"

namespace sorvane::decoder {

/// What a PNG says behind its pixels.
struct PngEnd {
    /// The first orientation chunk there that is not too long to be kept.
    std::optional<std::vector<std::uint8_t>> orientation;
    /// An orientation chunk there fails its checksum.
    bool orientationDamaged = false;
};

/// Goes on from the chunk in which the pixels' data ended to the end of the picture. Nothing: the
/// end is missing, or a chunk that no reader may pass over stands before it or fails its checksum.
/// `paletteSeen`: the file had its one palette before the pixels. An orientation chunk longer than
/// `longest` is passed over.
std::optional<PngEnd> readPngEnd(PngChunks& chunks, bool paletteSeen, std::size_t longest);

} // namespace sorvane::decoder
