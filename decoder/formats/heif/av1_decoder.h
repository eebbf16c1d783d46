#pragma once

#include <libheif/heif_plugin.h>

namespace sorvane::decoder {

/// libheif's decoder of AV1: dav1d, in the calling thread and without its log. libheif's own one
/// starts a thread for each processor and lets dav1d write to standard error.
extern const heif_decoder_plugin av1Decoder;

} // namespace sorvane::decoder
