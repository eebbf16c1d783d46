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
    for (std::size_t i = 0; i < count; ++i) std::swap(samples[2 * i], samples[2 * i + 1]);
}

} // namespace

SampleFormat PngSampleForm::format() const {
    const bool coloured = palette || count >= 3;
    const bool alpha = count % 2 == 0 || transparent || (palette && palette->transparent);
    return {channelsOf(coloured, alpha), depth == 16};
}

// One byte for each sample: scaled, unless it still has to be compared or looked up.
const std::uint8_t* PngSamples::unpacked(const std::uint8_t* stored, std::uint32_t width) {
    const unsigned depth = form_.depth;
    const unsigned full = (1U << depth) - 1;
    const unsigned scale = form_.palette || form_.transparent ? 1 : 255 / full;
    unpacked_.resize(width);
    for (std::size_t x = 0, bit = 0; x < width; ++x, bit += depth)
        unpacked_[x] =
            static_cast<std::uint8_t>((stored[bit / 8] >> (8 - depth - bit % 8) & full) * scale);
    return unpacked_.data();
}

void PngSamples::lookUp(const std::uint8_t* indices, std::uint32_t width) {
    const std::size_t channels = form_.palette->transparent ? 4 : 3;
    samples_.resize(std::size_t{4} * width);
    std::uint8_t* to = samples_.data();
    for (std::uint32_t x = 0; x < width; ++x)
        to = std::copy_n(form_.palette->colours[indices[x]].data(), channels, to);
}

// The colours are compared at the file's own depth, and scaled then.
template<class Sample>
void PngSamples::addAlpha(const std::uint8_t* samples, std::uint32_t width) {
    const unsigned full = (1U << form_.depth) - 1;
    const unsigned scale = std::numeric_limits<Sample>::max() / full;
    const std::size_t colours = form_.count;
    std::array<Sample, 3> key{};
    for (std::size_t i = 0; i < colours; ++i)
        key[i] = static_cast<Sample>((*form_.transparent)[i] & full);
    samples_.resize((colours + 1) * width * sizeof(Sample));
    std::array<Sample, 4> pixel{};
    std::uint8_t* to = samples_.data();
    for (std::uint32_t x = 0; x < width; ++x, to += (colours + 1) * sizeof(Sample)) {
        std::memcpy(pixel.data(), samples, colours * sizeof(Sample));
        samples += colours * sizeof(Sample);
        const bool isKey = std::equal(key.begin(), key.begin() + colours, pixel.begin());
        for (std::size_t i = 0; i < colours; ++i) pixel[i] = static_cast<Sample>(pixel[i] * scale);
        pixel[colours] = isKey ? Sample{0} : std::numeric_limits<Sample>::max();
        std::memcpy(to, pixel.data(), (colours + 1) * sizeof(Sample));
    }
}

const std::uint8_t* PngSamples::row(std::uint8_t* stored, std::uint32_t width) {
    const std::uint8_t* samples = form_.depth < 8 ? unpacked(stored, width) : stored;
    if (form_.depth == 16 && std::endian::native == std::endian::little)
        swapBytes(stored, form_.count * width);
    if (form_.palette)
        lookUp(samples, width);
    else if (form_.transparent && form_.depth == 16)
        addAlpha<std::uint16_t>(samples, width);
    else if (form_.transparent)
        addAlpha<std::uint8_t>(samples, width);
    else
        return samples;
    return samples_.data();
}

} // namespace sorvane::decoder
