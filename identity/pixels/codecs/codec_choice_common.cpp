#include <algorithm>

#include "identity/pixels/codec_choice.h"
#include "identity/pixels/codecs/jpeg.h"
#include "identity/pixels/codecs/png.h"

namespace sorvane::pixels {

const std::uint64_t codecMemory = std::max({jpegMemory, pngMemory});

std::unique_ptr<Codec> openCodec(ImageFormat format, ByteSource& file) {
    switch (format) {
    case ImageFormat::png:
        return openPng(file);
    case ImageFormat::jpeg:
        return openJpeg(file);
    default:
        return nullptr;
    }
}

} // namespace sorvane::pixels
