#pragma once

#include <cstdint>
#include <optional>

#include "decoder/input/byte_source.h"
#include "identity/decoder_answer.h"

namespace sorvane::decoder {

/// Lets the libraries open and ask whatever they need for good, as long as they may: called once,
/// before the process is confined.
void prepareLibraries();

/// What `pixelIdentity` takes at most, its libraries included, in bytes of address space.
std::uint64_t maxPixelIdentityMemory();

/// Decodes the file's first picture and digests it. Nothing, perhaps with the file half read: no
/// picture, a damaged one, one over the budget, or one whose colours are not brought to sRGB here.
/// Otherwise the file has been read to its end. Throws for want of memory only.
std::optional<PixelIdentity> pixelIdentity(ByteSource& file);

} // namespace sorvane::decoder
