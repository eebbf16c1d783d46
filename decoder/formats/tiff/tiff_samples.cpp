#include "decoder/formats/tiff/tiff_samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

namespace sorvane::decoder {

namespace {

constexpr std::uint32_t maxValue(unsigned bits) {
    return static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1);
}

// Each gives the samples of a row one after the other, or skips some.
struct ByteReader {
    const std::uint8_t* bytes;

    std::uint16_t next() { return *bytes++; }
    void skip(std::size_t count) { bytes += count; }
};

struct WordReader {
    const std::uint8_t* bytes;

    std::uint16_t next() {
        std::uint16_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        bytes += sizeof word;
        return word;
    }
    void skip(std::size_t count) { bytes += count * sizeof(std::uint16_t); }
};

struct BitReader {
    const std::uint8_t* bytes;
    unsigned bits;
    std::uint64_t window = 0;
    unsigned held = 0;

    std::uint32_t next() {
        for (; held < bits; held += 8) window = window << 8 | *bytes++;
        held -= bits;
        return static_cast<std::uint32_t>(window >> held & maxValue(bits));
    }
    void skip(std::size_t count) {
        const std::size_t skipped = count * bits;
        if (skipped <= held) {
            held -= static_cast<unsigned>(skipped);
            return;
        }
        const std::size_t beyond = skipped - held;
        bytes += beyond / 8;
        held = 0;
        if (beyond % 8 == 0) return;
        window = *bytes++;
        held = static_cast<unsigned>(8 - beyond % 8);
    }
};

// Samples of 24 and 32 bits.
template<std::size_t length>
struct LongReader {
    const std::uint8_t* bytes;

    std::uint32_t next() {
        constexpr std::size_t skipped = std::endian::native == std::endian::big ? 4 - length : 0;
        std::array<std::uint8_t, 4> padded{};
        std::memcpy(padded.data() + skipped, bytes, length);
        bytes += length;
        return std::bit_cast<std::uint32_t>(padded);
    }
    void skip(std::size_t count) { bytes += count * length; }
};

// What another one reads, scaled to 16 bits.
template<class Reader>
struct ScaledTo16 {
    Reader reader;
    std::uint64_t max;

    std::uint16_t next() {
        return static_cast<std::uint16_t>((reader.next() * std::uint64_t{65'535} + max / 2) / max);
    }
    void skip(std::size_t count) { reader.skip(count); }
};
template<class Reader>
ScaledTo16(Reader, std::uint64_t) -> ScaledTo16<Reader>;

std::uint32_t rounded(std::uint32_t numerator, std::uint32_t denominator) {
    return (numerator + denominator / 2) / denominator;
}

// The colour before it was multiplied by its alpha. Rounded to the nearest, it gives the stored
// value when it is multiplied again. A colour above its alpha is an error of the writer and becomes
// the brightest; where alpha is 0 it becomes 0.
std::uint32_t unpremultiplied(std::uint32_t colour, std::uint32_t alpha, std::uint32_t full) {
    if (alpha == 0) return 0;
    return colour >= alpha ? full : rounded(colour * full, alpha);
}

} // namespace

TiffSamples::TiffSamples(TiffSampleLayout layout, std::size_t width)
    : layout_(std::move(layout)), width_(width), used_(layout_.used()) {
    const bool wholeSamples = layout_.bits == 8 || layout_.bits == 16;
    asStored_ = wholeSamples && layout_.interleaved == used_ && layout_.palette.empty() &&
                !layout_.minIsWhite && !layout_.premultiplied;
    const std::uint32_t max = maxValue(layout_.bits);
    if (max >= scaled_.size()) return;
    for (std::uint32_t value = 0; value <= max; ++value)
        scaled_[value] = static_cast<std::uint8_t>(rounded(value * 255, max));
}

const std::uint8_t* TiffSamples::rows(std::span<const TiffStoredRows> stored) {
    const auto [first, stride, count] = stored.front();
    const std::size_t rowBytes = layout_.format().pixelBytes() * width_;
    if (asStored_ && (count == 1 || stride == rowBytes)) return first;
    values_.resize(used_ * width_ * count);
    rows_.resize(rowBytes * count);
    for (std::size_t plane = 0; plane < stored.size(); ++plane) gather(stored[plane], plane);
    if (!layout_.palette.empty())
        lookUp();
    else if (layout_.format().sixteenBits)
        finish<std::uint16_t>();
    else
        finish<std::uint8_t>();
    return rows_.data();
}

// Copies the samples that are used into `values_`, pixel by pixel: as they are stored, longer ones
// scaled to 16 bits.
void TiffSamples::gather(const TiffStoredRows& stored, std::size_t plane) {
    using Bytes = const std::uint8_t*;
    const unsigned bits = layout_.bits;
    const std::uint64_t max = maxValue(bits);
    const auto scaled = [max](auto reader) { return ScaledTo16{reader, max}; };
    if (bits == 8)
        collect(stored, plane, [](Bytes row) { return ByteReader{row}; });
    else if (bits == 16)
        collect(stored, plane, [](Bytes row) { return WordReader{row}; });
    else if (bits < 16)
        collect(stored, plane, [bits](Bytes row) { return BitReader{row, bits}; });
    else if (bits == 24)
        collect(stored, plane, [scaled](Bytes row) { return scaled(LongReader<3>{row}); });
    else if (bits == 32)
        collect(stored, plane, [scaled](Bytes row) { return scaled(LongReader<4>{row}); });
    else
        collect(stored, plane, [=](Bytes row) { return scaled(BitReader{row, bits}); });
}

// What `readerOf` gives of one row after the other: the first samples of each pixel.
template<class ReaderOf>
void TiffSamples::collect(const TiffStoredRows& stored, std::size_t plane,
                          const ReaderOf& readerOf) {
    const std::size_t taken = std::min(layout_.interleaved, used_);
    const std::size_t skipped = layout_.interleaved - taken;
    const std::size_t stride = used_;
    std::uint16_t* to = values_.data() + plane;
    for (std::size_t row = 0; row < stored.count; ++row) {
        auto reader = readerOf(stored.first + stored.stride * row);
        for (std::size_t x = 0; x < width_; ++x, to += stride) {
            for (std::size_t i = 0; i < taken; ++i)
                to[i] = static_cast<std::uint16_t>(reader.next());
            if (skipped > 0) reader.skip(skipped);
        }
    }
}

template<class Sample>
void TiffSamples::finish() {
    constexpr std::uint32_t full = std::numeric_limits<Sample>::max();
    const std::uint32_t max = maxValue(std::min(layout_.bits, 16U));
    const std::size_t colours = hasAlpha(layout_.channels) ? used_ - 1 : used_;
    const auto scaled = [this, max](std::uint32_t value) -> std::uint32_t {
        if (sizeof(Sample) == 1) return scaled_[value];
        return max == full ? value : rounded(value * full, max);
    };
    std::uint8_t* to = rows_.data();
    for (std::size_t pixel = 0; pixel < values_.size(); pixel += used_)
        for (std::size_t sample = 0; sample < used_; ++sample, to += sizeof(Sample)) {
            std::uint32_t value = scaled(values_[pixel + sample]);
            // Inverted last: the stored value is what was multiplied by alpha.
            if (sample < colours && layout_.premultiplied)
                value = unpremultiplied(value, scaled(values_[pixel + colours]), full);
            if (sample < colours && layout_.minIsWhite) value = full - value;
            const auto finished = static_cast<Sample>(value);
            std::memcpy(to, &finished, sizeof finished);
        }
}

void TiffSamples::lookUp() {
    const std::uint32_t max = maxValue(layout_.bits);
    std::uint8_t* to = rows_.data();
    const auto put = [&to](const auto& value) {
        std::memcpy(to, &value, sizeof value);
        to += sizeof value;
    };
    for (std::size_t pixel = 0; pixel < values_.size(); pixel += used_) {
        put(layout_.palette[values_[pixel]]);
        if (hasAlpha(layout_.channels))
            put(static_cast<std::uint16_t>(rounded(values_[pixel + 1] * 65'535U, max)));
    }
}

} // namespace sorvane::decoder
