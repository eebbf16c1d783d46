#include "decoder/formats/png/png_samples.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace sorvane::decoder {

namespace {

// Stored with the higher byte first.
void swapBytes(std::uint8_t* samples, std::size_t count) {
    constexpr std::uint64_t lower = 0x00ff'00ff'00ff'00ff;
    std::uint64_t four = 0;
    for (; count >= 4; count -= 4, samples += sizeof four) {
        std::memcpy(&four, samples, sizeof four);
        four = (four & lower) << 8 | (four >> 8 & lower);
        std::memcpy(samples, &four, sizeof four);
    }
    for (; count > 0; --count, samples += 2) std::swap(samples[0], samples[1]);
}

template<std::size_t rowBytes>
void closeGaps(std::uint8_t* rows, std::uint32_t count) {
    std::array<std::uint8_t, rowBytes> row;
    for (std::size_t i = 1; i < count; ++i) {
        std::memcpy(row.data(), rows + i * (1 + rowBytes), rowBytes);
        std::memcpy(rows + i * rowBytes, row.data(), rowBytes);
    }
}

// Moves rows together, in place. Those of one pixel are moved without a call for each.
void closeGaps(std::uint8_t* rows, std::size_t rowBytes, std::uint32_t count) {
    switch (rowBytes) {
    case 1:
        return closeGaps<1>(rows, count);
    case 2:
        return closeGaps<2>(rows, count);
    case 3:
        return closeGaps<3>(rows, count);
    case 4:
        return closeGaps<4>(rows, count);
    case 6:
        return closeGaps<6>(rows, count);
    case 8:
        return closeGaps<8>(rows, count);
    default:
        for (std::size_t i = 1; i < count; ++i)
            std::memmove(rows + i * rowBytes, rows + i * (1 + rowBytes), rowBytes);
    }
}

} // namespace

// One byte for each sample: scaled, unless it still has to be compared or looked up.
std::uint8_t* PngSamples::unpacked(const std::uint8_t* stored, std::uint32_t width,
                                   std::uint32_t count) {
    const unsigned depth = form_.depth;
    const unsigned full = (1U << depth) - 1;
    const unsigned scale = form_.palette || form_.transparent ? 1 : 255 / full;
    unpacked_.resize(std::size_t{width} * count);
    std::uint8_t* to = unpacked_.data();
    for (std::uint32_t row = 0; row < count; ++row, stored += 1 + form_.rowBytes(width))
        for (std::size_t x = 0, bit = 0; x < width; ++x, bit += depth)
            *to++ = static_cast<std::uint8_t>((stored[bit / 8] >> (8 - depth - bit % 8) & full) *
                                              scale);
    return unpacked_.data();
}

// All four bytes of a colour are written: without alpha the next pixel replaces the last of them.
void PngSamples::lookUp(const std::uint8_t* indices, std::size_t pixels) {
    const std::size_t channels = form_.palette->transparent ? 4 : 3;
    samples_.resize(std::size_t{4} * pixels);
    std::uint8_t* to = samples_.data();
    for (std::size_t i = 0; i < pixels; ++i, to += channels)
        std::memcpy(to, form_.palette->colours[indices[i]].data(), 4);
}

// The colours are compared at the file's own depth, and scaled then.
template<class Sample, std::size_t colours>
void PngSamples::addAlpha(const std::uint8_t* samples, std::size_t pixels) {
    const unsigned full = (1U << form_.depth) - 1;
    const unsigned scale = std::numeric_limits<Sample>::max() / full;
    std::array<Sample, colours> key{};
    for (std::size_t i = 0; i < colours; ++i)
        key[i] = static_cast<Sample>((*form_.transparent)[i] & full);
    std::array<Sample, colours> stored{};
    std::array<Sample, colours + 1> pixel{};
    samples_.resize(sizeof pixel * pixels);
    std::uint8_t* to = samples_.data();
    for (std::size_t i = 0; i < pixels; ++i, samples += sizeof stored, to += sizeof pixel) {
        std::memcpy(stored.data(), samples, sizeof stored);
        for (std::size_t channel = 0; channel < colours; ++channel)
            pixel[channel] = static_cast<Sample>(stored[channel] * scale);
        pixel[colours] = stored == key ? Sample{0} : std::numeric_limits<Sample>::max();
        std::memcpy(to, pixel.data(), sizeof pixel);
    }
}

template<class Sample>
void PngSamples::addAlpha(const std::uint8_t* samples, std::size_t pixels) {
    if (form_.count == 1)
        addAlpha<Sample, 1>(samples, pixels);
    else
        addAlpha<Sample, 3>(samples, pixels);
}

const std::uint8_t* PngSamples::rows(std::uint8_t* stored, std::uint32_t width,
                                     std::uint32_t count) {
    const std::size_t pixels = std::size_t{width} * count;
    std::uint8_t* samples = stored;
    if (form_.depth < 8)
        samples = unpacked(stored, width, count);
    else
        closeGaps(stored, form_.rowBytes(width), count);
    if (form_.depth == 16 && std::endian::native == std::endian::little)
        swapBytes(samples, form_.count * pixels);
    if (form_.palette)
        lookUp(samples, pixels);
    else if (form_.transparent && form_.depth == 16)
        addAlpha<std::uint16_t>(samples, pixels);
    else if (form_.transparent)
        addAlpha<std::uint8_t>(samples, pixels);
    else
        return samples;
    return samples_.data();
}

} // namespace sorvane::decoder
