#pragma once

#include <cstdint>
#include <memory>

#include "identity/image_formats.h"
#include "identity/pixels/byte_source.h"
#include "identity/pixels/picture.h"

// Which codecs a program carries: each program has its own definitions of these.
namespace sorvane::pixels {

/// The codec of a format; null when another program reads it. `file` must outlive the codec.
std::unique_ptr<Codec> openCodec(ImageFormat format, ByteSource& file);

/// Lets the codecs' libraries open and ask whatever they need for good, as long as they may: called
/// once, before the process is confined.
void prepareCodecs();

/// What the program's codecs and their libraries take beside the frame, at most, in bytes of
/// address space; shared libraries count whole, as they are mapped.
extern const std::uint64_t codecMemory;

} // namespace sorvane::pixels
