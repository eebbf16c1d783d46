#include "decoder/formats/tga.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "decoder/input/number_reader.h"
#include "decoder/input/sequential_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t headerLength = 18;
constexpr std::uint8_t indexed = 1;
constexpr std::uint8_t trueColour = 2;
constexpr std::uint8_t grey = 3;
constexpr std::uint8_t runLengths = 8;
constexpr std::uint8_t fromTheRight = 0x10;
constexpr std::uint8_t fromTheTop = 0x20;

using Colour = std::array<std::uint8_t, 4>;
constexpr Colour black = {0, 0, 0, 255};

std::size_t bytesOf(std::uint8_t depth) { return (depth + std::size_t{7}) / 8; }

std::uint8_t fromFiveBits(unsigned value) {
    return static_cast<std::uint8_t>(((value & 31) * 255 + 15) / 31);
}

/// A stored colour as red, green, blue and alpha.
Colour colourOf(const std::uint8_t* stored, std::uint8_t depth) {
    if (depth > 16) return {stored[2], stored[1], stored[0], depth == 32 ? stored[3] : black[3]};
    const unsigned value = stored[0] | unsigned{stored[1]} << 8;
    return {fromFiveBits(value >> 10), fromFiveBits(value >> 5), fromFiveBits(value), black[3]};
}

bool isColourDepth(std::uint8_t depth) {
    return depth == 15 || depth == 16 || depth == 24 || depth == 32;
}

class TgaDecoder final : public Decoder {
  public:
    explicit TgaDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    bool readPalette(std::uint16_t first, std::uint16_t count, std::uint8_t depth);
    bool hasValidDepth() const;
    bool readRow(std::span<std::uint8_t> row);
    bool readPixel(std::span<std::uint8_t> pixel);
    void makeSamples(const std::vector<std::uint8_t>& row, std::vector<std::uint8_t>& samples);

    SequentialReader file_;
    std::uint8_t kind_ = 0;
    bool runLength_ = false;
    bool rightToLeft_ = false;
    bool topDown_ = false;
    std::uint8_t depth_ = 0;
    Size size_;
    Channels channels_ = Channels::rgba;
    std::size_t paletteBegin_ = 0;
    std::vector<Colour> palette_;
    // What is left of the current run or literals, which may go on in the next row.
    std::size_t left_ = 0;
    bool repeated_ = false;
    std::array<std::uint8_t, 4> repeatedPixel_{};
};

std::optional<PictureHeader> TgaDecoder::readHeader() {
    std::array<std::uint8_t, headerLength> fields;
    if (!file_.read(fields)) return std::nullopt;
    const NumberReader numbers(fields, ByteOrder::little);
    kind_ = static_cast<std::uint8_t>(fields[2] & ~runLengths);
    runLength_ = (fields[2] & runLengths) != 0;
    size_ = {*numbers.u16(12), *numbers.u16(14)};
    depth_ = fields[16];
    rightToLeft_ = (fields[17] & fromTheRight) != 0;
    topDown_ = (fields[17] & fromTheTop) != 0;
    if (!hasValidDepth() || !file_.skip(fields[0])) return std::nullopt;
    const bool hasPalette = fields[1] == 1;
    if (kind_ == indexed && !hasPalette) return std::nullopt;
    if (hasPalette && !readPalette(*numbers.u16(3), *numbers.u16(5), fields[7]))
        return std::nullopt;
    if (kind_ == grey) channels_ = depth_ == 16 ? Channels::greyAlpha : Channels::grey;
    PictureHeader header;
    header.size = size_;
    header.samples.channels = channels_;
    header.rowsInOrder = topDown_;
    return header;
}

bool TgaDecoder::hasValidDepth() const {
    if (kind_ == trueColour) return isColourDepth(depth_);
    return (kind_ == indexed || kind_ == grey) && (depth_ == 8 || depth_ == 16);
}

bool TgaDecoder::readPalette(std::uint16_t first, std::uint16_t count, std::uint8_t depth) {
    if (kind_ != indexed) return file_.skip(count * bytesOf(depth));
    if (!isColourDepth(depth)) return false;
    paletteBegin_ = first;
    palette_.resize(count);
    for (Colour& colour : palette_) {
        std::array<std::uint8_t, 4> stored{};
        if (!file_.read(std::span(stored).first(bytesOf(depth)))) return false;
        colour = colourOf(stored.data(), depth);
    }
    return true;
}

bool TgaDecoder::readPixels(PixelSink& sink) {
    std::vector<std::uint8_t> row(bytesOf(depth_) * size_.width);
    std::vector<std::uint8_t> samples(channelCount(channels_) * size_.width);
    for (std::uint32_t number = 0; number < size_.height; ++number) {
        if (!readRow(row)) return false;
        makeSamples(row, samples);
        const std::uint32_t y = topDown_ ? number : size_.height - 1 - number;
        sink.take(PixelRun::wholeRow(y, size_.width, samples.data()));
    }
    return true;
}

bool TgaDecoder::readRow(std::span<std::uint8_t> row) {
    if (!runLength_) return file_.read(row);
    const std::size_t step = bytesOf(depth_);
    for (; !row.empty(); row = row.subspan(step))
        if (!readPixel(row.first(step))) return false;
    return true;
}

bool TgaDecoder::readPixel(std::span<std::uint8_t> pixel) {
    const auto repeated = std::span(repeatedPixel_).first(pixel.size());
    if (left_ == 0) {
        const auto head = file_.byte();
        if (!head) return false;
        left_ = (*head & 127U) + 1;
        repeated_ = *head > 127;
        if (repeated_ && !file_.read(repeated)) return false;
    }
    --left_;
    if (!repeated_) return file_.read(pixel);
    std::ranges::copy(repeated, pixel.begin());
    return true;
}

void TgaDecoder::makeSamples(const std::vector<std::uint8_t>& row,
                             std::vector<std::uint8_t>& samples) {
    const std::size_t step = bytesOf(depth_);
    const std::size_t channels = channelCount(channels_);
    for (std::size_t i = 0; i < size_.width; ++i) {
        const std::uint8_t* stored = row.data() + step * i;
        std::uint8_t* to = samples.data() + channels * (rightToLeft_ ? size_.width - 1 - i : i);
        if (kind_ == grey) {
            std::memcpy(to, stored, channels);
            continue;
        }
        Colour colour = black;
        if (kind_ == trueColour) {
            colour = colourOf(stored, depth_);
        } else {
            const std::size_t index = step == 1 ? stored[0] : stored[0] + stored[1] * 256U;
            // Unsigned: an index before the palette's first is a number beyond its last.
            if (index - paletteBegin_ < palette_.size()) colour = palette_[index - paletteBegin_];
        }
        std::memcpy(to, colour.data(), channels);
    }
}

} // namespace

std::unique_ptr<Decoder> openTga(ByteSource& file) { return std::make_unique<TgaDecoder>(file); }

} // namespace sorvane::decoder
