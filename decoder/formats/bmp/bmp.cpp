#include "decoder/formats/bmp/bmp.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "decoder/formats/bmp/dib.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t fileHeaderLength = 14;
constexpr std::size_t pixelsField = 10;

class BmpDecoder final : public Decoder {
  public:
    explicit BmpDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    std::optional<IccProfile> readProfile();

    SequentialReader file_;
    std::optional<DibHeader> dib_;
    std::optional<KeptRows> kept_;
};

std::optional<PictureHeader> BmpDecoder::readHeader() {
    std::array<std::uint8_t, fileHeaderLength> fields;
    if (!file_.read(fields)) return std::nullopt;
    dib_ = readDibHeader(file_, *NumberReader(fields, ByteOrder::little).u32(pixelsField));
    if (!dib_ || !withinBudget(dib_->size)) return std::nullopt;
    PictureHeader header;
    header.size = dib_->size;
    header.samples.channels = dibChannels(*dib_);
    header.rowsInOrder = dib_->topDown;
    if (dib_->colours == DibColours::srgb) {
        header.colour.emplace_back(DeclaredSrgb{});
    } else if (dib_->colours == DibColours::profile) {
        // The colours must be known before the first pixel is handed over, and writers put the
        // profile after the last.
        kept_.emplace(dib_->size, header.samples.pixelBytes());
        if (!readDibPixels(*dib_, file_, *kept_)) return std::nullopt;
        header.rowsInOrder = true;
        if (auto profile = readProfile()) header.colour.emplace_back(std::move(*profile));
    }
    return header;
}

bool BmpDecoder::readPixels(PixelSink& sink) {
    if (!kept_) return readDibPixels(*dib_, file_, sink);
    kept_->handOver(sink);
    return true;
}

std::optional<IccProfile> BmpDecoder::readProfile() {
    const std::uint64_t offset = std::uint64_t{fileHeaderLength} + dib_->profileOffset;
    if (dib_->profileLength > maxProfileBytes || !file_.skipTo(offset)) return std::nullopt;
    IccProfile profile;
    profile.bytes.resize(dib_->profileLength);
    if (!file_.read(profile.bytes)) return std::nullopt;
    return profile;
}

} // namespace

std::unique_ptr<Decoder> openBmp(ByteSource& file) { return std::make_unique<BmpDecoder>(file); }

} // namespace sorvane::decoder
