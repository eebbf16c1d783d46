#include "decoder/formats/psd.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "decoder/formats/whole_rows.h"
#include "decoder/input/number_reader.h"
#include "decoder/input/sequential_reader.h"

namespace sorvane::decoder {

namespace {

using Row = std::vector<std::uint8_t>;

constexpr std::uint16_t largeDocument = 2;
constexpr std::uint16_t profileResource = 1039;

enum class Mode : std::uint16_t { bits = 0, grey = 1, indexed = 2, rgb = 3, cmyk = 4, duotone = 8 };

class PsdDecoder final : public Decoder {
  public:
    explicit PsdDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    std::optional<std::uint64_t> number(std::size_t length);
    std::optional<std::uint64_t> length() { return number(version_ == largeDocument ? 8 : 4); }

    bool readForm();
    bool readColourTable();
    bool readResources();
    bool readResource(std::uint64_t end);
    bool readLayers();
    bool readLayerBlock(std::uint64_t sectionEnd);
    bool readLayerCount(std::uint64_t end);
    Channels channels() const;
    std::size_t storedChannels() const { return channelCount(channels_); }
    SampleFormat sampleFormat() const {
        return {mode_ == Mode::indexed ? Channels::rgb : channels_, depth_ == 16};
    }

    bool readPlane(std::size_t channel);
    bool readRow(Row& row);
    void interleave(const Row& row, std::uint8_t* to) const;
    template<class Sample>
    void finish(std::span<std::uint8_t> row) const;
    void lookUp(const std::uint8_t* indices, Row& colours) const;

    SequentialReader file_;
    std::uint64_t version_ = 0;
    std::uint64_t fileChannels_ = 0;
    Size size_;
    std::uint64_t depth_ = 0;
    Mode mode_ = Mode::bits;
    // Reds, then greens, then blues.
    std::array<std::uint8_t, 768> palette_{};
    std::optional<IccProfile> profile_;
    bool transparent_ = false;
    // Of the stored samples: an index in the palette counts as grey.
    Channels channels_ = Channels::grey;
    bool runLength_ = false;
    std::unique_ptr<std::uint8_t[]> samples_;
};

/// A number of up to 8 bytes.
std::optional<std::uint64_t> PsdDecoder::number(std::size_t length) {
    std::array<std::uint8_t, 8> bytes{};
    if (!file_.read(std::span(bytes).last(length))) return std::nullopt;
    return NumberReader(bytes, ByteOrder::big).u64(0);
}

std::optional<PictureHeader> PsdDecoder::readHeader() {
    if (!readForm() || !readColourTable() || !readResources() || !readLayers()) return std::nullopt;
    const auto coding = number(2);
    if (!coding || *coding > 1) return std::nullopt;
    runLength_ = *coding == 1;
    channels_ = channels();
    if (fileChannels_ < storedChannels()) return std::nullopt;
    PictureHeader header;
    header.size = size_;
    header.samples = sampleFormat();
    if (profile_) header.colour.emplace_back(std::move(*profile_));
    return header;
}

bool PsdDecoder::readForm() {
    constexpr std::size_t reserved = 6;
    if (!file_.skip(4)) return false; // the signature, which was recognised
    version_ = number(2).value_or(0);
    if (!file_.skip(reserved)) return false;
    fileChannels_ = number(2).value_or(0);
    size_.height = static_cast<std::uint32_t>(number(4).value_or(0));
    size_.width = static_cast<std::uint32_t>(number(4).value_or(0));
    depth_ = number(2).value_or(0);
    const auto mode = number(2);
    if (!mode) return false;
    mode_ = static_cast<Mode>(*mode);
    switch (mode_) {
    case Mode::bits:
        return depth_ == 1;
    case Mode::indexed:
        return depth_ == 8;
    case Mode::grey:
    case Mode::rgb:
    case Mode::cmyk:
    case Mode::duotone:
        return depth_ == 8 || depth_ == 16;
    }
    return false;
}

bool PsdDecoder::readColourTable() {
    const auto count = number(4);
    if (!count) return false;
    const std::uint64_t end = file_.offset() + *count;
    if (mode_ == Mode::indexed && (*count < palette_.size() || !file_.read(palette_))) return false;
    return file_.skipTo(end);
}

bool PsdDecoder::readResources() {
    const auto count = number(4);
    if (!count) return false;
    const std::uint64_t end = file_.offset() + *count;
    while (file_.offset() < end && readResource(end)) continue;
    return file_.skipTo(end);
}

// A signature, a number, a name and the data, the last two padded to an even length. False: the
// profile has been found, or no resource follows.
bool PsdDecoder::readResource(std::uint64_t end) {
    constexpr std::size_t shortest = 12;
    if (end - file_.offset() < shortest || !file_.skip(4)) return false;
    const auto id = number(2);
    const auto name = number(1);
    if (!id || !name || end - file_.offset() < (*name | 1) || !file_.skip(*name | 1)) return false;
    if (end - file_.offset() < 4) return false;
    const auto count = number(4);
    if (!count || *count > end - file_.offset()) return false;
    if (*id != profileResource)
        return *count + *count % 2 <= end - file_.offset() && file_.skip(*count + *count % 2);
    if (*count > maxProfileBytes) return false;
    profile_.emplace().bytes.resize(static_cast<std::size_t>(*count));
    if (!file_.read(profile_->bytes)) profile_.reset();
    return false;
}

// Of the layers only one thing counts: their number is negative when the first channel beyond the
// colours is the merged picture's alpha. Layers of 16 bits stand in a block of their own, after the
// others.
bool PsdDecoder::readLayers() {
    const auto all = length();
    if (!all || *all > UINT64_MAX - file_.offset()) return false;
    const std::uint64_t end = file_.offset() + *all;
    if (*all < 8) return file_.skipTo(end);
    const auto count = length();
    if (!count) return false;
    if (*count <= end - file_.offset()) {
        const std::uint64_t layersEnd = file_.offset() + *count;
        if (*count > 0 && (!readLayerCount(layersEnd) || !file_.skipTo(layersEnd))) return false;
        const auto maskLength = end - file_.offset() < 4 ? std::nullopt : number(4);
        if (maskLength && *maskLength <= end - file_.offset()) {
            if (!file_.skip(*maskLength)) return false;
            const std::size_t shortest = version_ == largeDocument ? 16 : 12;
            while (end - file_.offset() >= shortest && readLayerBlock(end)) continue;
        }
    }
    return file_.skipTo(end);
}

bool PsdDecoder::readLayerCount(std::uint64_t end) {
    if (end - file_.offset() < 2) return true;
    const auto count = number(2);
    transparent_ |= count && *count >> 15 != 0;
    return count.has_value();
}

// A signature, a name of four letters and the data, padded to a multiple of four. False: no block
// follows.
bool PsdDecoder::readLayerBlock(std::uint64_t sectionEnd) {
    using namespace std::string_view_literals;
    // In large documents these have a length of eight bytes.
    constexpr std::array large = {"LMsk"sv, "Lr16"sv, "Lr32"sv, "Layr"sv, "Mt16"sv,
                                  "Mt32"sv, "Mtrn"sv, "Alph"sv, "FMsk"sv, "lnk2"sv,
                                  "FEid"sv, "FXid"sv, "PxSD"sv};
    std::array<char, 8> head;
    if (!file_.read({reinterpret_cast<std::uint8_t*>(head.data()), head.size()})) return false;
    const std::string_view name(head.data() + 4, 4);
    if (std::string_view(head.data(), 3) != "8BI"sv && std::string_view(head.data(), 3) != "8B6"sv)
        return false;
    const bool isLarge = std::ranges::find(large, name) != large.end();
    const auto count = isLarge ? length() : number(4);
    if (!count || *count > sectionEnd - file_.offset()) return false;
    const std::uint64_t end = std::min(sectionEnd, file_.offset() + (*count + 3) / 4 * 4);
    transparent_ |= name == "Mtrn" || name == "Mt16";
    if (name == "Lr16" && !readLayerCount(end)) return false;
    return file_.skipTo(end);
}

Channels PsdDecoder::channels() const {
    switch (mode_) {
    case Mode::rgb:
        return channelsOf(true, transparent_ && fileChannels_ > 3);
    case Mode::cmyk:
        return Channels::cmyk;
    case Mode::grey:
    case Mode::duotone:
        return channelsOf(false, transparent_ && fileChannels_ > 1);
    default:
        return Channels::grey;
    }
}

bool PsdDecoder::readPixels(PixelSink& sink) {
    const std::size_t rowBytes = storedChannels() * (depth_ == 16 ? 2 : 1) * size_.width;
    samples_ = std::make_unique_for_overwrite<std::uint8_t[]>(rowBytes * size_.height);
    // Before the runs stand their lengths, row by row, which are not needed to find a row's end.
    const std::uint64_t rows = fileChannels_ * size_.height;
    if (runLength_ && !file_.skip(rows * (version_ == largeDocument ? 4 : 2))) return false;
    for (std::size_t channel = 0; channel < storedChannels(); ++channel)
        if (!readPlane(channel)) return false;
    Row colours(mode_ == Mode::indexed ? std::size_t{3} * size_.width : 0);
    RowsInOrder handedOver(sink, size_, sampleFormat());
    for (std::uint32_t y = 0; y < size_.height; ++y) {
        const std::span<std::uint8_t> row(samples_.get() + rowBytes * y, rowBytes);
        if (depth_ == 16)
            finish<std::uint16_t>(row);
        else
            finish<std::uint8_t>(row);
        if (mode_ == Mode::indexed) lookUp(row.data(), colours);
        handedOver.take(colours.empty() ? row.data() : colours.data());
    }
    return true;
}

bool PsdDecoder::readPlane(std::size_t channel) {
    const std::size_t sampleBytes = depth_ == 16 ? 2 : 1;
    const std::size_t width = storedChannels() * sampleBytes * size_.width;
    Row row((size_.width * depth_ + 7) / 8);
    for (std::uint32_t y = 0; y < size_.height; ++y) {
        if (!readRow(row)) return false;
        interleave(row, samples_.get() + width * y + sampleBytes * channel);
    }
    return true;
}

bool PsdDecoder::readRow(Row& row) {
    if (!runLength_) return file_.read(row);
    constexpr std::uint8_t nothing = 128;
    for (std::size_t at = 0; at < row.size();) {
        const auto head = file_.byte();
        if (!head) return false;
        if (*head == nothing) continue;
        const bool repeated = *head > nothing;
        const std::size_t count = repeated ? 257U - *head : *head + 1U;
        if (count > row.size() - at) return false;
        if (repeated) {
            const auto value = file_.byte();
            if (!value) return false;
            std::fill_n(row.begin() + static_cast<std::ptrdiff_t>(at), count, *value);
        } else if (!file_.read(std::span(row).subspan(at, count))) {
            return false;
        }
        at += count;
    }
    return true;
}

/// Stores a channel's row among the samples of the others. A bit of 1 is black; 16 bits are stored
/// in the machine's order.
void PsdDecoder::interleave(const Row& row, std::uint8_t* to) const {
    const std::size_t channels = storedChannels();
    for (std::size_t x = 0; x < size_.width; ++x) {
        if (depth_ == 16) {
            const auto sample = static_cast<std::uint16_t>(row[2 * x] * 256U + row[2 * x + 1]);
            std::memcpy(to + sizeof sample * channels * x, &sample, sizeof sample);
        } else if (depth_ == 8) {
            to[channels * x] = row[x];
        } else {
            to[x] = (row[x / 8] << x % 8 & 0x80) != 0 ? 0 : 255;
        }
    }
}

/// Turns stored samples into those that are handed over: inks are stored as what they leave of
/// white, and colours with alpha as they look on white.
template<class Sample>
void PsdDecoder::finish(std::span<std::uint8_t> row) const {
    constexpr unsigned maxSample = Sample(-1);
    if (channels_ != Channels::cmyk && !hasAlpha(channels_)) return;
    const std::size_t channels = storedChannels();
    std::array<Sample, 4> pixel;
    for (; !row.empty(); row = row.subspan(channels * sizeof(Sample))) {
        std::memcpy(pixel.data(), row.data(), channels * sizeof(Sample));
        const unsigned alpha = pixel[channels - 1];
        const unsigned white = maxSample - alpha;
        for (std::size_t i = 0; i < channels; ++i) {
            if (channels_ == Channels::cmyk)
                pixel[i] = static_cast<Sample>(maxSample - pixel[i]);
            else if (alpha > 0 && i + 1 < channels)
                pixel[i] = static_cast<Sample>(std::min<std::uint64_t>(
                    maxSample,
                    (std::uint64_t{maxSample} * (pixel[i] - std::min<unsigned>(pixel[i], white)) +
                     alpha / 2) /
                        alpha));
        }
        std::memcpy(row.data(), pixel.data(), channels * sizeof(Sample));
    }
}

void PsdDecoder::lookUp(const std::uint8_t* indices, Row& colours) const {
    for (std::size_t x = 0; x < size_.width; ++x)
        for (std::size_t i = 0; i < 3; ++i) colours[3 * x + i] = palette_[256 * i + indices[x]];
}

} // namespace

std::unique_ptr<Decoder> openPsd(ByteSource& file) { return std::make_unique<PsdDecoder>(file); }

} // namespace sorvane::decoder
