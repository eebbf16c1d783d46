#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "decoder/formats/png/png_chunks.h"

namespace sorvane::decoder {

/// What a PNG says after its pixels.
struct PngTrailer {
    /// The Exif data of the first eXIf chunk that is not too long to be kept.
    std::optional<std::vector<std::uint8_t>> exif;
    /// An eXIf chunk fails its checksum.
    bool exifDamaged = false;
};

/// Reads on from the chunk in which the pixels' data ended to the end of the picture. Nothing: the
/// end is missing, or a critical chunk comes before it or fails its checksum. `paletteSeen`: the
/// file had its one palette before the pixels. An eXIf chunk of more than `maxLength` bytes is
/// skipped.
std::optional<PngTrailer> readPngTrailer(PngChunks& chunks, bool paletteSeen,
                                         std::size_t maxLength);

} // namespace sorvane::decoder
