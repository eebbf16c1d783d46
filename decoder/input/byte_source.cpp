#include "decoder/input/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace sorvane::decoder {

std::string_view ByteSource::peek(std::size_t count) noexcept {
    count = std::min(count, buffer_.size());
    if (end_ - begin_ < count) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        while (end_ < count && fill()) continue;
    }
    return {reinterpret_cast<const char*>(buffer_.data()) + begin_, std::min(count, end_ - begin_)};
}

std::size_t ByteSource::read(std::span<std::uint8_t> to) noexcept {
    std::size_t taken = 0;
    while (taken < to.size()) {
        if (begin_ == end_) {
            begin_ = end_ = 0;
            if (!fill()) break;
        }
        const std::size_t count = std::min(to.size() - taken, end_ - begin_);
        std::memcpy(to.data() + taken, buffer_.data() + begin_, count);
        begin_ += count;
        taken += count;
    }
    return taken;
}

std::span<const std::uint8_t> ByteSource::takePiece(std::size_t maxCount) noexcept {
    if (begin_ == end_ && maxCount > 0) {
        begin_ = end_ = 0;
        fill();
    }
    const std::span<const std::uint8_t> piece(buffer_.data() + begin_,
                                              std::min(maxCount, end_ - begin_));
    begin_ += piece.size();
    return piece;
}

void ByteSource::drain() noexcept {
    while (!takePiece().empty()) continue;
}

bool ByteSource::fill() noexcept {
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    end_ += static_cast<std::size_t>(count);
    return true;
}

} // namespace sorvane::decoder
