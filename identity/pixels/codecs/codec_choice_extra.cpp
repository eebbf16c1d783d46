#include "identity/pixels/codec_choice.h"

namespace sorvane::pixels {

const std::uint64_t codecMemory = 0;

std::unique_ptr<Codec> openCodec(ImageFormat, ByteSource&) { return nullptr; }

} // namespace sorvane::pixels
