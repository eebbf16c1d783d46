#include <algorithm>

#include "identity/pixels/codec_choice.h"
#include "identity/pixels/codecs/bmp.h"
#include "identity/pixels/codecs/gif.h"
#include "identity/pixels/codecs/icon.h"
#include "identity/pixels/codecs/jpeg.h"
#include "identity/pixels/codecs/png.h"
#include "identity/pixels/codecs/tiff.h"
#include "identity/pixels/codecs/webp.h"

namespace sorvane::pixels {

const std::uint64_t codecMemory = std::max({
    bmpMemory,
    gifMemory,
    iconMemory,
    jpegMemory,
    pngMemory,
    tiffMemory,
    webpMemory,
});

void prepareCodecs() {}

std::unique_ptr<Codec> openCodec(ImageFormat format, ByteSource& file) {
    switch (format) {
    case ImageFormat::png:
        return openPng(file);
    case ImageFormat::jpeg:
        return openJpeg(file);
    case ImageFormat::gif:
        return openGif(file);
    case ImageFormat::webp:
        return openWebp(file);
    case ImageFormat::tiff:
        return openTiff(file);
    case ImageFormat::bmp:
        return openBmp(file);
    case ImageFormat::icon:
        return openIcon(file);
    default:
        return nullptr;
    }
}

} // namespace sorvane::pixels
