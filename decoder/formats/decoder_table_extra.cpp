// The formats that sorvane-pixels-extra reads.

#include "decoder/formats/decoder_table.h"
#include "decoder/formats/heif/heif.h"
#include "decoder/formats/jpeg2000/jpeg2000.h"
#include "decoder/formats/jpeg_xl.h"
#include "decoder/formats/pnm.h"
#include "decoder/formats/psd.h"
#include "decoder/formats/tga.h"

namespace sorvane::decoder {

namespace {

constexpr std::array table = {
    DecoderRow{ImageFormat::heif, openHeif, heifMemory},
    DecoderRow{ImageFormat::jpeg2000, openJpeg2000, jpeg2000Memory},
    DecoderRow{ImageFormat::jpegXl, openJpegXl, jpegXlMemory},
    DecoderRow{ImageFormat::pnm, openPnm, pnmMemory},
    DecoderRow{ImageFormat::psd, openPsd, psdMemory},
    DecoderRow{ImageFormat::tga, openTga, tgaMemory},
};
static_assert(isTableOf(extraDecoder, table));

} // namespace

const std::span<const DecoderRow> decoderTable = table;

// About 30 MiB here, and they grow from year to year.
const std::uint64_t sharedLibraryMemory = std::uint64_t{256} << 20;

void prepareDecoders() { prepareHeif(); }

} // namespace sorvane::decoder
