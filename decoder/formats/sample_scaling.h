#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

inline constexpr std::uint32_t wideFull = 65'535;

/// A sample of 1 to 16 bits as one of 16, its two ends where they were.
constexpr std::uint32_t widened(std::uint32_t sample, unsigned bits) {
    const std::uint32_t full = (1U << bits) - 1;
    return (std::min(sample, full) * wideFull + full / 2) / full;
}

/// Takes a pixel's alpha, the last of its 16-bit samples, out of its colours.
constexpr void makeStraight(std::span<std::uint32_t> pixel) {
    const std::uint32_t alpha = pixel.back();
    if (alpha == 0) return;
    for (std::uint32_t& sample : pixel.first(pixel.size() - 1))
        sample = std::min((sample * wideFull + alpha / 2) / alpha, wideFull);
}

/// Writes a pixel's 16-bit samples as the picture's, and gives where the next pixel goes. A sample
/// that was widened from 8 bits comes back as it was.
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

/// Hands a decoded picture over, row by row: `fillRow(row, to)` writes the samples of one.
template<class FillRow>
void takeRows(PixelSink& sink, Size size, const SampleFormat& format, const FillRow& fillRow) {
    std::vector<std::uint8_t> line(size.width * format.pixelBytes());
    for (std::uint32_t row = 0; row < size.height; ++row) {
        fillRow(row, line.data());
        sink.take({row, 0, 1, size.width, line.data()});
    }
}

} // namespace sorvane::decoder
