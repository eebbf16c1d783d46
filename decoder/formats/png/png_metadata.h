#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "decoder/picture/colour_statement.h"
#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

/// A chunk as it lies in the file, without length and checksum.
struct PngChunk {
    std::string_view name;
    std::span<const std::uint8_t> data;
};

/// What a PNG's chunks say about its colours: iCCP, then sRGB, then gAMA together with cHRM. A
/// malformed chunk says nothing, and a second one of the same name is ignored.
ColourStatements pngColour(const std::vector<PngChunk>& chunks);

/// What the first eXIf chunk says; nothing when there is none.
std::optional<Orientation> pngOrientation(const std::vector<PngChunk>& chunks);

} // namespace sorvane::decoder
