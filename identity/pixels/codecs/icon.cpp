#include "identity/pixels/codecs/icon.h"

#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "identity/pixels/codecs/dib.h"
#include "identity/pixels/number_reader.h"

namespace sorvane::pixels {

namespace {

constexpr std::string_view pngSignature = "\x89PNG\r\n\x1a\n";

// The directory's own header, and its first entry.
constexpr std::size_t directoryLength = 6 + 16;
constexpr std::size_t pictureField = 6 + 12;

constexpr std::size_t pixelBytes = 4;
constexpr std::uint32_t fourthByte = 0xff000000;

/// Brings a bitmap's rows into a picture with alpha.
class AlphaRows final : public SpanSink {
  public:
    AlphaRows(KeptRows& picture, bool withAlpha) : picture_(picture), withAlpha_(withAlpha) {}

    void take(const Span& span) override {
        const std::size_t stored = withAlpha_ ? pixelBytes : pixelBytes - 1;
        std::uint8_t* to = picture_.row(span.row);
        for (std::size_t x = 0; x < span.count; ++x, to += pixelBytes) {
            to[pixelBytes - 1] = 255;
            std::memcpy(to, span.samples + stored * x, stored);
            anyAlpha_ |= withAlpha_ && to[pixelBytes - 1] != 0;
        }
    }

    /// Some pixel had an alpha of its own other than 0.
    bool anyAlpha() const { return anyAlpha_; }

  private:
    KeptRows& picture_;
    bool withAlpha_;
    bool anyAlpha_ = false;
};

class IconCodec final : public Codec {
  public:
    explicit IconCodec(ByteSource& file) : source_(file), file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(SpanSink& sink) override;

  private:
    std::optional<PictureHeader> readBitmapHeader();
    bool readMask(KeptRows& picture);

    ByteSource& source_;
    ForwardReader file_;
    std::unique_ptr<Codec> png_;
    std::optional<DibHeader> dib_;
};

std::optional<PictureHeader> IconCodec::readHeader() {
    std::array<std::uint8_t, directoryLength> directory;
    if (!file_.read(directory)) return std::nullopt;
    const NumberReader numbers(directory, ByteOrder::little);
    if (!file_.skipTo(*numbers.u32(pictureField))) return std::nullopt;
    if (source_.peek(pngSignature.size()) != pngSignature) return readBitmapHeader();
    png_ = openPng(source_);
    return png_->readHeader();
}

// A bitmap in an icon says the height of its pixels and its mask together.
std::optional<PictureHeader> IconCodec::readBitmapHeader() {
    dib_ = readDibHeader(file_, 0);
    if (!dib_) return std::nullopt;
    dib_->size.height /= 2;
    if (dib_->fourthByteUnsaid) dib_->masks[3] = fourthByte;
    PictureHeader header;
    header.size = dib_->size;
    header.samples.channels = Channels::rgba;
    header.rowsInOrder = true;
    return header;
}

bool IconCodec::readPixels(SpanSink& sink) {
    if (png_) return png_->readPixels(sink);
    KeptRows picture(dib_->size, pixelBytes);
    AlphaRows rows(picture, hasAlpha(dibChannels(*dib_)));
    if (!readDibPixels(*dib_, file_, rows)) return false;
    if (!rows.anyAlpha() && !readMask(picture)) return false;
    picture.handOver(sink);
    return true;
}

bool IconCodec::readMask(KeptRows& picture) {
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

std::unique_ptr<Codec> openIcon(ByteSource& file) { return std::make_unique<IconCodec>(file); }

} // namespace sorvane::pixels
