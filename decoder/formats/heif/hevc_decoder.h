#pragma once

#include <libheif/heif_plugin.h>

namespace sorvane::decoder {

/// HEVC for libheif by libde265 in the caller's own thread; libheif's own way to that library
/// starts another, takes the last picture of several, and passes damaged ones for whole.
extern const heif_decoder_plugin hevcDecoder;

} // namespace sorvane::decoder
