#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::decoder {

/// The number that four letters are in a big-endian file: the names of boxes, items and tags.
constexpr std::uint32_t fourLetterCode(const char (&letters)[5]) {
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < 4; ++i) code = code << 8 | static_cast<std::uint8_t>(letters[i]);
    return code;
}

} // namespace sorvane::decoder
