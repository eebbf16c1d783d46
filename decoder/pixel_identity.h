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
/// what a picture of its format takes at most, as far as memoryLimit allows it. The format is told
/// by the file's first bytes, of which none is taken.
std::uint64_t pixelIdentityMemory(ByteSource& file);

/// Decodes the file's first picture, digests it and reads the file to its end. A file that states
/// its orientation after the pixels is answered by that orientation; called again for the same file
/// with it as `told`, this gives the identity. Nothing when the file is rejected: no picture, a
/// damaged one, one over the budget, one in a colour space that is not converted here, or one that
/// states another orientation than was told; the file may then be half read. Throws only when
/// memory is short.
std::optional<DecoderAnswer> pixelIdentity(ByteSource& file,
                                           std::optional<LateOrientation> told = std::nullopt);

/// Does the same for somebody who asks why, and tells what is known of the file and at which step
/// it was rejected, in lines of a key, a space and a value. "format" is its name; "size" is width
/// and height as declared, "orientation" 1 to 8, "colour" what the file says about it; "reason",
/// only where there is no identity, is why. A line that is not known is left out, and an
/// orientation that comes after the pixels has a second line, which counts.
std::string explanation(ByteSource& file);

} // namespace sorvane::decoder
