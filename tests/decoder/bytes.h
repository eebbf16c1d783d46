#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace sorvane::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }

inline Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes whole;
    for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

inline Bytes littleEndian16(std::uint16_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8)};
}

inline Bytes littleEndian32(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

inline Bytes bigEndian32(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

} // namespace sorvane::test
