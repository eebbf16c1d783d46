#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "decoder/formats/png/png_inflater.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The colours that the pixels' indices stand for. An index without a colour is opaque black.
struct PngPalette {
    std::array<std::array<std::uint8_t, 4>, 256> colours;
    /// They are handed over with their fourth byte, which is alpha.
    bool transparent = false;
};

/// The rows in the data of a PNG of 8 bits that is not interlaced.
struct PngRowForm {
    Size size;
    /// In the data: 1 to 4.
    std::size_t pixelBytes = 0;
    std::optional<PngPalette> palette;
};

/// Hands over the rows from top to bottom. False: the data are damaged, in the rows or after them,
/// or end too early.
bool readPngRows(PngInflater& data, const PngRowForm& form, PixelSink& sink);

} // namespace sorvane::decoder
