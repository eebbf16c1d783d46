#include "decoder/formats/decoder_table.h"

#include <algorithm>

namespace sorvane::decoder {

std::unique_ptr<Decoder> openDecoder(ImageFormat format, ByteSource& file) {
    const auto row = std::ranges::find(decoderTable, format, &DecoderRow::format);
    return row == decoderTable.end() ? nullptr : row->open(file);
}

std::uint64_t decoderMemory() {
    return std::ranges::max(decoderTable, {}, &DecoderRow::memory).memory + sharedLibraryMemory;
}

} // namespace sorvane::decoder
