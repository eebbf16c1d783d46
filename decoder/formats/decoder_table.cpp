#include "decoder/formats/decoder_table.h"

#include <algorithm>

namespace sorvane::decoder {

namespace {

const DecoderRow* rowOf(ImageFormat format) {
    const auto row = std::ranges::find(decoderTable, format, &DecoderRow::format);
    return row == decoderTable.end() ? nullptr : &*row;
}

} // namespace

std::unique_ptr<Decoder> openDecoder(ImageFormat format, ByteSource& file) {
    const DecoderRow* row = rowOf(format);
    return row != nullptr ? row->open(file) : nullptr;
}

std::uint64_t decoderMemory(ImageFormat format) {
    const DecoderRow* row = rowOf(format);
    return row != nullptr ? row->memory + sharedLibraryMemory : 0;
}

} // namespace sorvane::decoder
