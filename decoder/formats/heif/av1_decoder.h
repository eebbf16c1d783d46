#pragma once

#include <libheif/heif_plugin.h>

namespace sorvane::decoder {

/// AV1 for libheif by dav1d in the caller's own thread and in silence; libheif's own way to that
/// library starts a thread a processor and lets it speak on standard error.
extern const heif_decoder_plugin av1Decoder;

} // namespace sorvane::decoder
