#include "decoder/input/buffered_file.h"

#include <algorithm>

namespace sorvane::decoder {

namespace {

constexpr std::size_t firstCapacity = 262'144;

} // namespace

std::span<const std::uint8_t> BufferedFile::at(std::uint64_t offset, std::size_t count) noexcept {
    if (offset >= maxSize_) return {};
    const auto begin = static_cast<std::size_t>(offset);
    const std::size_t end = begin + std::min(count, maxSize_ - begin);
    if (end > size_) keep(end);
    if (begin >= size_) return {};
    return {bytes_.get() + begin, std::min(end, size_) - begin};
}

void BufferedFile::keep(std::size_t end) noexcept {
    while (size_ < end) {
        if (size_ == capacity_ && !grow(std::max(firstCapacity, 2 * capacity_))) return;
        const std::size_t wanted = std::min(end, capacity_) - size_;
        const std::size_t came = file_.read({bytes_.get() + size_, wanted});
        size_ += came;
        if (came < wanted) return;
    }
}

bool BufferedFile::grow(std::size_t capacity) noexcept {
    capacity = std::min(capacity, maxSize_);
    void* moved = std::realloc(bytes_.get(), capacity);
    if (moved == nullptr) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(static_cast<std::uint8_t*>(moved));
    capacity_ = capacity;
    return true;
}

} // namespace sorvane::decoder
