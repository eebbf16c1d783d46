#include "decoder/formats/bmp/icon.h"

#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "decoder/formats/bmp/dib.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

// The header of the directory and its first entry.
constexpr std::size_t directoryLength = 6 + 16;
constexpr std::size_t pictureField = 6 + 12;

constexpr std::size_t pixelBytes = 4;
constexpr std::uint32_t fourthByte = 0xff000000;

/// Stores a bitmap's rows in a picture with alpha.
class AlphaRows final : public PixelSink {
  public:
    AlphaRows(KeptRows& picture, bool withAlpha) : picture_(picture), withAlpha_(withAlpha) {}

    void take(const PixelRun& run) override {
        const std::size_t stored = withAlpha_ ? pixelBytes : pixelBytes - 1;
        std::uint8_t* to = picture_.row(run.row);
        for (std::size_t i = 0; i < std::size_t{run.count} * run.rows; ++i, to += pixelBytes) {
            to[pixelBytes - 1] = 255;
            std::memcpy(to, run.samples + stored * i, stored);
            anyAlpha_ |= withAlpha_ && to[pixelBytes - 1] != 0;
        }
    }

    /// Some pixel had an alpha in the file, and it was not 0.
    bool anyAlpha() const { return anyAlpha_; }

  private:
    KeptRows& picture_;
    bool withAlpha_;
    bool anyAlpha_ = false;
};

class IconDecoder final : public Decoder {
  public:
    explicit IconDecoder(ByteSource& file) : source_(file), file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;
    std::optional<Orientation> lateOrientation() const override {
        return png_ ? png_->lateOrientation() : std::nullopt;
    }

  private:
    std::optional<PictureHeader> readBitmapHeader();
    bool readMask(KeptRows& picture);

    ByteSource& source_;
    SequentialReader file_;
    std::unique_ptr<Decoder> png_;
    std::optional<DibHeader> dib_;
};

std::optional<PictureHeader> IconDecoder::readHeader() {
    std::array<std::uint8_t, directoryLength> directory;
    if (!file_.read(directory)) return std::nullopt;
    const NumberReader numbers(directory, ByteOrder::little);
    if (!file_.skipTo(*numbers.u32(pictureField))) return std::nullopt;
    if (!signatures::isPng(source_.peek(signatures::length))) return readBitmapHeader();
    png_ = openDecoder(ImageFormat::png, source_);
    return png_->readHeader();
}

// In an icon the height of a bitmap is that of its pixels and its mask together.
std::optional<PictureHeader> IconDecoder::readBitmapHeader() {
    dib_ = readDibHeader(file_, 0);
    if (!dib_) return std::nullopt;
    dib_->size.height /= 2;
    if (dib_->fourthByteUnspecified) dib_->masks[3] = fourthByte;
    PictureHeader header;
    header.size = dib_->size;
    header.samples.channels = Channels::rgba;
    header.rowsInOrder = true;
    return header;
}

bool IconDecoder::readPixels(PixelSink& sink) {
    if (png_) return png_->readPixels(sink);
    KeptRows picture(dib_->size, pixelBytes);
    AlphaRows rows(picture, hasAlpha(dibChannels(*dib_)));
    if (!readDibPixels(*dib_, file_, rows)) return false;
    if (!rows.anyAlpha() && !readMask(picture)) return false;
    picture.handOver(sink);
    return true;
}

bool IconDecoder::readMask(KeptRows& picture) {
    const auto [width, height] = dib_->size;
    std::vector<std::uint8_t> mask((std::size_t{width} + 31) / 32 * 4);
    for (std::uint32_t number = 0; number < height; ++number) {
        if (!file_.read(mask)) return false;
        std::uint8_t* row = picture.row(dib_->topDown ? number : height - 1 - number);
        for (std::size_t x = 0; x < width; ++x) {
            const bool transparent = (mask[x / 8] << x % 8 & 0x80) != 0;
            row[pixelBytes * x + pixelBytes - 1] = transparent ? 0 : 255;
        }
    }
    return true;
}

} // namespace

std::unique_ptr<Decoder> openIcon(ByteSource& file) { return std::make_unique<IconDecoder>(file); }

} // namespace sorvane::decoder
