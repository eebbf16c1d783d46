#include <algorithm>

#include "identity/pixels/codec_choice.h"
#include "identity/pixels/codecs/heif.h"
#include "identity/pixels/codecs/jpeg2000.h"
#include "identity/pixels/codecs/jpeg_xl.h"
#include "identity/pixels/codecs/pnm.h"
#include "identity/pixels/codecs/psd.h"
#include "identity/pixels/codecs/tga.h"

namespace sorvane::pixels {

namespace {

// The shared libraries' own code and data: about 30 MiB here, and they grow from year to year.
constexpr std::uint64_t libraryMemory = std::uint64_t{256} << 20;

} // namespace

const std::uint64_t codecMemory = libraryMemory + std::max({
                                                      heifMemory,
                                                      jpeg2000Memory,
                                                      jpegXlMemory,
                                                      pnmMemory,
                                                      psdMemory,
                                                      tgaMemory,
                                                  });

void prepareCodecs() { prepareHeif(); }

std::unique_ptr<Codec> openCodec(ImageFormat format, ByteSource& file) {
    switch (format) {
    case ImageFormat::heif:
        return openHeif(file);
    case ImageFormat::jpeg2000:
        return openJpeg2000(file);
    case ImageFormat::jpegXl:
        return openJpegXl(file);
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
