#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace sorvane::decoder {

/// The largest sample of 16 bits.
inline constexpr std::uint32_t maxSample16 = 65'535;

/// A sample of 1 to 16 bits scaled to 16: 0 stays 0, and the largest becomes the largest.
constexpr std::uint32_t scaledTo16Bits(std::uint32_t sample, unsigned bits) {
    const std::uint32_t full = (1U << bits) - 1;
    return (std::min(sample, full) * maxSample16 + full / 2) / full;
}

/// Divides the colours of a premultiplied pixel by its alpha, the last of its 16-bit samples.
constexpr void unpremultiply(std::span<std::uint32_t> pixel) {
    const std::uint32_t alpha = pixel.back();
    if (alpha == 0) return;
    for (std::uint32_t& sample : pixel.first(pixel.size() - 1))
        sample = std::min((sample * maxSample16 + alpha / 2) / alpha, maxSample16);
}

/// Writes a pixel's 16-bit samples to `to`, as they are or scaled to 8 bits, and returns where the
/// next pixel goes. A sample that was scaled from 8 bits becomes what it was.
inline std::uint8_t* putPixel(std::span<const std::uint32_t> pixel, bool sixteenBits,
                              std::uint8_t* to) {
    for (const std::uint32_t wide : pixel) {
        const auto sample = static_cast<std::uint16_t>(sixteenBits ? wide : (wide + 128) / 257);
        if (!sixteenBits) {
            *to++ = static_cast<std::uint8_t>(sample);
            continue;
        }
        std::memcpy(to, &sample, sizeof sample);
        to += sizeof sample;
    }
    return to;
}

} // namespace sorvane::decoder
