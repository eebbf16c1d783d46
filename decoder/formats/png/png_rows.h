#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "decoder/formats/png/png_inflater.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The colours that the pixels' numbers stand for. A number without a colour is opaque black.
struct PngPalette {
    std::array<std::array<std::uint8_t, 4>, 256> colours;
    /// They are handed over with their fourth byte, which is alpha.
    bool transparent = false;
};

/// How the rows of a PNG of 8 bits lie in its data, where it is not interlaced.
struct PngRowForm {
    Size size;
    /// In the data: 1 to 4.
    std::size_t pixelBytes = 0;
    std::optional<PngPalette> palette;
};

/// Hands over the rows from top to bottom. False: the data are damaged or do not suffice, or what
/// came behind the rows is not whole.
bool readPngRows(PngInflater& data, const PngRowForm& form, PixelSink& sink);

} // namespace sorvane::decoder
