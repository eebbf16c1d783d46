#pragma once

#include <libheif/heif_plugin.h>

namespace sorvane::decoder {

/// libheif's decoder of HEVC: libde265, in the calling thread. libheif's own one starts another
/// thread, takes the last of several pictures, and accepts damaged ones.
extern const heif_decoder_plugin hevcDecoder;

} // namespace sorvane::decoder
