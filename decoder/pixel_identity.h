#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "decoder/input/byte_source.h"
#include "identity/decoder_answer.h"

namespace sorvane::decoder {

/// Lets the libraries open files and ask the system what they need while that is still allowed:
/// called once, before the process is confined.
void prepareLibraries();

/// The address space that `pixelIdentity` may take for this file, its libraries included, in bytes:
/// what a picture of its format takes at most, as far as memoryLimit allows it. 0 for an unknown
/// format, and on macOS, where address space is not limited. The format is recognised by the file's
/// first bytes, of which none is taken.
std::uint64_t pixelIdentityMemory(ByteSource& file);

/// Decodes the file's first picture, digests it and reads the file to its end. A file that states
/// its orientation after the pixels is answered by that orientation; called again for the same file
/// with it as `told`, this gives the identity. Nothing when the file is rejected: no picture, a
/// damaged one, one over the budget, one in a colour space that is not converted here, or one that
/// states another orientation than was told; the file may then be half read. Throws only when
/// memory is short.
std::optional<DecoderAnswer> pixelIdentity(ByteSource& file,
                                           std::optional<LateOrientation> told = std::nullopt);

/// Decodes as `pixelIdentity` does, for a person who asks why there is no identity: lines of a key,
/// a space and a value. "format": its name; "size": declared width and height; "orientation": 1 to
/// 8; "colour": what the file says; "reason": why there is no identity, only then. What is not
/// known is left out. A second "orientation" was stated after the pixels and replaces the first.
std::string explanation(ByteSource& file);

} // namespace sorvane::decoder
