#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Premultiplication of RGBA, four bytes a pixel.
namespace sorvane::decoder {

/// True when every pixel's alpha is 255.
inline bool isOpaque(const std::uint8_t* rgba, std::size_t count) {
    std::uint32_t common = 0xffff'ffff;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, rgba + 4 * i, sizeof pixel);
        common &= pixel;
    }
    return std::bit_cast<std::array<std::uint8_t, 4>>(common)[3] == 255;
}

/// Multiplies straight colours by their alpha, each rounded to the nearest value.
inline void premultiply(std::uint8_t* rgba, std::size_t count) {
    // Two pixels, by the compiler's own vectors, which serve all processors.
    using Bytes [[gnu::vector_size(8)]] = std::uint8_t;
    using Words [[gnu::vector_size(16)]] = std::uint16_t;
    const auto multiplied = [](Bytes pixels) {
        const auto straight = __builtin_convertvector(pixels, Words);
        const Words alphas = __builtin_shufflevector(straight, straight, 3, 3, 3, 3, 7, 7, 7, 7);
        // Alpha itself is multiplied by 255, and stays.
        const Words factors = alphas | Words{0, 0, 0, 255, 0, 0, 0, 255};
        const Words products = straight * factors + 127;
        // The quotient by 255, of every number of 16 bits but the largest.
        return __builtin_convertvector((products + 1 + (products >> 8)) >> 8, Bytes);
    };
    for (; count >= 2; count -= 2, rgba += sizeof(Bytes)) {
        Bytes pixels;
        std::memcpy(&pixels, rgba, sizeof pixels);
        pixels = multiplied(pixels);
        std::memcpy(rgba, &pixels, sizeof pixels);
    }
    if (count == 0) return;
    Bytes last{};
    std::memcpy(&last, rgba, 4);
    last = multiplied(last);
    std::memcpy(rgba, &last, 4);
}

} // namespace sorvane::decoder
