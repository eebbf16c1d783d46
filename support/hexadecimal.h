#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace sorvane {

inline constexpr std::string_view lowerHexDigits = "0123456789abcdef";
inline constexpr std::string_view upperHexDigits = "0123456789ABCDEF";

/// Appends the two digits of each byte to a text.
inline void appendHex(std::string& text, std::span<const std::uint8_t> bytes,
                      std::string_view digits = lowerHexDigits) {
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xf];
    }
}

} // namespace sorvane
