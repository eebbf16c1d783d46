#include "decoder/formats/gif/gif_wide_lzw.h"

#include <gif_lib.h>

namespace sorvane::decoder {

GifWideLzw::GifWideLzw(GifFileType* gif, unsigned codeSize)
    : gif_(gif), clearCode_(static_cast<std::uint16_t>(1U << codeSize)) {
    clear();
}

bool GifWideLzw::read(std::span<std::uint8_t> indices) {
    for (std::uint8_t& index : indices) {
        while (pending_.empty())
            if (!readCode()) return false;
        if (pending_.back() > 255) return false;
        index = static_cast<std::uint8_t>(pending_.back());
        pending_.pop_back();
    }
    return true;
}

bool GifWideLzw::finish() {
    GifByteType* block = nullptr;
    do {
        if (DGifGetCodeNext(gif_, &block) != GIF_OK) return false;
    } while (block != nullptr);
    return true;
}

// The clear code and the end code stand between the indices and the table.
void GifWideLzw::clear() {
    known_ = clearCode_ + std::size_t{2};
    width_ = 1;
    while (known_ >> width_ != 0) ++width_;
    previous_.reset();
}

bool GifWideLzw::readCode() {
    const auto code = nextCode();
    if (!code || *code == clearCode_ + 1) return false;
    if (*code == clearCode_) {
        clear();
        return true;
    }
    // A code may be the one that the table learns from it.
    const bool isNew = *code == known_ && previous_;
    if (*code >= known_ && !isNew) return false;
    if (previous_ && known_ < tableSize) {
        prefix_[known_] = *previous_;
        last_[known_] = firstIndex(isNew ? *previous_ : *code);
        ++known_;
        if (known_ >> width_ != 0 && width_ < maxWidth) ++width_;
    }
    std::uint16_t rest = *code;
    for (; rest > clearCode_; rest = prefix_[rest]) pending_.push_back(last_[rest]);
    pending_.push_back(rest);
    previous_ = code;
    return true;
}

std::optional<std::uint16_t> GifWideLzw::nextCode() {
    for (; bitCount_ < width_; bitCount_ += 8) {
        if (block_.empty() && !nextBlock()) return std::nullopt;
        bits_ |= std::uint32_t{block_.front()} << bitCount_;
        block_ = block_.subspan(1);
    }
    const std::uint32_t code = bits_ & ((1U << width_) - 1);
    bits_ >>= width_;
    bitCount_ -= width_;
    return static_cast<std::uint16_t>(code);
}

// A block is its length and as many bytes.
bool GifWideLzw::nextBlock() {
    GifByteType* block = nullptr;
    if (DGifGetCodeNext(gif_, &block) != GIF_OK || block == nullptr) return false;
    block_ = {block + 1, *block};
    return true;
}

std::uint16_t GifWideLzw::firstIndex(std::uint16_t code) const {
    while (code > clearCode_) code = prefix_[code];
    return code;
}

} // namespace sorvane::decoder
