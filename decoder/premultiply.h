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
    for (std::size_t i = 0; i < count; ++i, rgba += 4) {
        // Most pictures with alpha are opaque nearly everywhere.
        if (rgba[3] == 255) continue;
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] =
                static_cast<std::uint8_t>((rgba[channel] * unsigned{rgba[3]} + 127) / 255);
    }
}

} // namespace sorvane::decoder
