#include "decoder/formats/png/png_chunks.h"

#include <algorithm>

#include <isa-l/crc.h>

#include "decoder/input/number_reader.h"
#include "support/ascii.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t nameLength = 4;
constexpr std::uint32_t maxChunkLength = 0x7fff'ffff;

std::uint32_t numberIn(std::span<const std::uint8_t> bytes) {
    return *NumberReader(bytes, ByteOrder::big).u32(0);
}

} // namespace

std::string_view PngChunks::name() const {
    return {reinterpret_cast<const char*>(header_.data()) + nameLength, nameLength};
}

std::span<const std::uint8_t> PngChunks::take() {
    const auto piece = file_.takePiece(left_);
    left_ -= static_cast<std::uint32_t>(piece.size());
    checksum_ = ::crc32_gzip_refl(checksum_, piece.data(), piece.size());
    return piece;
}

bool PngChunks::close() {
    while (!take().empty()) continue;
    std::array<std::uint8_t, 4> checksum;
    return file_.read(checksum) == checksum.size() && left_ == 0 && numberIn(checksum) == checksum_;
}

bool PngChunks::next() {
    if (file_.read(header_) != header_.size()) return false;
    open();
    return length_ <= maxChunkLength && std::ranges::all_of(name(), ascii::isLetter);
}

void PngChunks::open() {
    length_ = left_ = numberIn(header_);
    checksum_ = ::crc32_gzip_refl(0, header_.data() + nameLength, nameLength);
}

} // namespace sorvane::decoder
