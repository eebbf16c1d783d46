#include "decoder/formats/webp/riff_chunks.h"

#include <algorithm>
#include <array>

#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

std::optional<RiffChunk> RiffChunks::next() {
    skip(unread_ + padding_);
    unread_ = padding_ = 0;
    std::array<std::uint8_t, 8> header;
    if (cut_ || left_ < header.size()) return std::nullopt;
    left_ -= header.size();
    cut_ = take(header) != header.size();
    RiffChunk chunk;
    std::copy_n(header.begin(), chunk.letters.size(), chunk.letters.begin());
    chunk.size = *NumberReader(header, ByteOrder::little).u32(4);
    cut_ = cut_ || chunk.size > left_;
    if (cut_) return std::nullopt;
    // A chunk of odd length is followed by one byte, but at the end of a file not always.
    unread_ = chunk.size;
    padding_ = std::min<std::uint64_t>(chunk.size % 2, left_ - unread_);
    left_ -= unread_ + padding_;
    return chunk;
}

std::size_t RiffChunks::read(std::span<std::uint8_t> to) {
    const std::size_t count = take(to.first(std::min<std::uint64_t>(to.size(), unread_)));
    unread_ -= count;
    return count;
}

std::size_t RiffChunks::take(std::span<std::uint8_t> to) {
    return outer_ != nullptr ? outer_->read(to) : file_->read(to);
}

void RiffChunks::skip(std::uint64_t count) {
    std::array<std::uint8_t, 16'384> passed;
    while (count != 0 && !cut_) {
        const std::size_t some = std::min<std::uint64_t>(count, passed.size());
        cut_ = take(std::span(passed).first(some)) != some;
        count -= some;
    }
}

} // namespace sorvane::decoder
