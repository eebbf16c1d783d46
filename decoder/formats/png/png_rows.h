#pragma once

#include "decoder/formats/png/png_inflater.h"
#include "decoder/formats/png/png_samples.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The rows in the data of a PNG.
struct PngRowForm {
    Size size;
    PngSampleForm samples;
    bool interlaced = false;
};

/// Hands over the rows: from top to bottom, or those of one pass over the picture after the other.
/// False: the data are damaged, in the rows or after them, or end too early.
bool readPngRows(PngInflater& data, const PngRowForm& form, PixelSink& sink);

} // namespace sorvane::decoder
