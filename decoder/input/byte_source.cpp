#include "decoder/input/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

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

void ByteSource::keep(std::size_t maxSize) noexcept {
    kept_.reset(maxSize > 0 ? new (std::nothrow) std::uint8_t[maxSize] : nullptr);
    maxKept_ = maxSize;
    keptSize_ = 0;
    addKept(std::span(buffer_).subspan(begin_, end_ - begin_));
}

bool ByteSource::rewind() noexcept {
    if (!kept_ || reread_) return false;
    begin_ = end_ = 0;
    reread_ = 0;
    return true;
}

void ByteSource::drain() noexcept {
    while (!takePiece().empty()) continue;
}

bool ByteSource::fill() noexcept {
    if (reread_ && refill()) return true;
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    addKept(std::span(buffer_).subspan(end_, static_cast<std::size_t>(count)));
    end_ += static_cast<std::size_t>(count);
    return true;
}

bool ByteSource::refill() noexcept {
    const std::size_t count = std::min(buffer_.size() - end_, keptSize_ - *reread_);
    if (count == 0) {
        reread_.reset();
        kept_.reset();
        return false;
    }
    std::memcpy(buffer_.data() + end_, kept_.get() + *reread_, count);
    *reread_ += count;
    end_ += count;
    return true;
}

void ByteSource::addKept(std::span<const std::uint8_t> bytes) noexcept {
    if (!kept_) return;
    if (bytes.size() > maxKept_ - keptSize_) {
        kept_.reset();
        return;
    }
    std::ranges::copy(bytes, kept_.get() + keptSize_);
    keptSize_ += bytes.size();
}

} // namespace sorvane::decoder
