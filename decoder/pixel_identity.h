#pragma once

#include <cstdint>
#include <optional>
#include <string>

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

/// The same way once more for somebody who asks why: what is known of the file and where the way
/// ends, in lines of a key, a space and a value. "format" is its name; "size" is width and height
/// as declared, "orientation" 1 to 8, "colour" what the file says about it; "reason", only where
/// there is no identity, is why. A line that is not known is left out.
std::string explanation(ByteSource& file);

} // namespace sorvane::decoder
