#include <algorithm>

#include "identity/pixels/codec_choice.h"
#include "identity/pixels/codecs/pnm.h"
#include "identity/pixels/codecs/psd.h"
#include "identity/pixels/codecs/tga.h"

namespace sorvane::pixels {

const std::uint64_t codecMemory = std::max({
    pnmMemory,
    psdMemory,
    tgaMemory,
});

std::unique_ptr<Codec> openCodec(ImageFormat format, ByteSource& file) {
    switch (format) {
    case ImageFormat::pnm:
        return openPnm(file);
    case ImageFormat::psd:
        return openPsd(file);
    case ImageFormat::tga:
        return openTga(file);
    default:
        return nullptr;
    }
}

} // namespace sorvane::pixels
