#include "decoder/input/sequential_reader.h"

#include <algorithm>
#include <array>

namespace sorvane::decoder {

bool SequentialReader::read(std::span<std::uint8_t> to) noexcept {
    const std::size_t came = file_.read(to);
    offset_ += came;
    return came == to.size();
}

std::optional<std::uint8_t> SequentialReader::byte() noexcept {
    std::uint8_t next = 0;
    if (!read({&next, 1})) return std::nullopt;
    return next;
}

bool SequentialReader::skip(std::uint64_t count) noexcept {
    std::array<std::uint8_t, 16'384> skipped;
    while (count > 0) {
        const auto next = static_cast<std::size_t>(std::min<std::uint64_t>(count, skipped.size()));
        if (!read(std::span(skipped).first(next))) return false;
        count -= next;
    }
    return true;
}

bool SequentialReader::skipTo(std::uint64_t offset) noexcept {
    return offset >= offset_ && skip(offset - offset_);
}

} // namespace sorvane::decoder
