// The formats that sorvane-pixels reads.

#include <algorithm>

#include "decoder/formats/bmp/bmp.h"
#include "decoder/formats/bmp/icon.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/formats/gif/gif.h"
#include "decoder/formats/jpeg/jpeg.h"
#include "decoder/formats/png/png.h"
#include "decoder/formats/tiff/tiff.h"
#include "decoder/formats/webp/webp.h"

namespace sorvane::decoder {

namespace {

constexpr std::array table = {
    DecoderRow{ImageFormat::png, openPng, pngMemory},
    DecoderRow{ImageFormat::jpeg, openJpeg, jpegMemory},
    DecoderRow{ImageFormat::gif, openGif, gifMemory},
    DecoderRow{ImageFormat::webp, openWebp, webpMemory},
    DecoderRow{ImageFormat::tiff, openTiff, tiffMemory},
    DecoderRow{ImageFormat::bmp, openBmp, bmpMemory},
    DecoderRow{ImageFormat::icon, openIcon, std::max(iconBitmapMemory, pngMemory)},
};
static_assert(isTableOf(commonDecoder, table));

} // namespace

const std::span<const DecoderRow> decoderTable = table;

const std::uint64_t sharedLibraryMemory = 0;

void prepareDecoders() {
    prepareJpeg();
    prepareTiff();
}

} // namespace sorvane::decoder
