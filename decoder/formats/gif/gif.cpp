#include "decoder/formats/gif/gif.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include <gif_lib.h>

#include "decoder/formats/frame_on_canvas.h"
#include "decoder/formats/gif/gif_wide_lzw.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

using Colour = std::array<std::uint8_t, 4>;

/// The rows that one pass over the frame brings.
struct Pass {
    std::uint32_t firstRow;
    std::uint32_t rowStep;
};

constexpr std::array wholeFrame = {Pass{0, 1}};
constexpr std::array interlacedFrame = {Pass{0, 8}, Pass{4, 8}, Pass{2, 4}, Pass{1, 2}};

void closeGif(GifFileType* gif) { DGifCloseFile(gif, nullptr); }

// giflib's high-level functions keep every frame and every extension of a file. Those used here
// read one record at a time and keep nothing of it.
class GifDecoder final : public Decoder {
  public:
    explicit GifDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    static int readBytes(GifFileType* gif, GifByteType* to, int count);

    bool findFrame();
    bool readFrameHeader();
    bool readExtension();
    bool readColours();
    bool readRow(std::span<std::uint8_t> indices, std::span<Colour> row);

    ByteSource& file_;
    std::unique_ptr<GifFileType, Release<closeGif>> gif_;
    std::optional<std::uint8_t> lastByte_;
    std::optional<GifWideLzw> wideLzw_;
    std::optional<std::uint8_t> transparentIndex_;
    std::array<Colour, 256> colours_;
    Size canvas_;
    Position corner_;
    Size frame_;
};

int GifDecoder::readBytes(GifFileType* gif, GifByteType* to, int count) {
    auto& decoder = *static_cast<GifDecoder*>(gif->UserData);
    const auto wanted = static_cast<std::size_t>(count);
    const std::size_t came = decoder.file_.read({to, wanted});
    decoder.lastByte_.reset();
    if (came == wanted && came > 0) decoder.lastByte_ = to[came - 1];
    return static_cast<int>(came);
}

std::optional<PictureHeader> GifDecoder::readHeader() {
    gif_.reset(DGifOpen(this, readBytes, nullptr));
    if (!gif_ || !findFrame() || !readColours()) return std::nullopt;
    const auto number = [](GifWord word) { return static_cast<std::uint32_t>(word); };
    const GifImageDesc& image = gif_->Image;
    canvas_ = {number(gif_->SWidth), number(gif_->SHeight)};
    corner_ = {number(image.Left), number(image.Top)};
    frame_ = {number(image.Width), number(image.Height)};
    // The part of the frame outside the canvas is decoded too, and a small file can declare
    // 4,000,000,000 pixels there.
    if (!withinBudget(frame_)) return std::nullopt;
    PictureHeader header;
    header.size = canvas_;
    header.samples.channels = Channels::rgba;
    header.rowsInOrder = !image.Interlace;
    return header;
}

// Reads up to the end of the first image descriptor.
bool GifDecoder::findFrame() {
    GifRecordType record = UNDEFINED_RECORD_TYPE;
    while (DGifGetRecordType(gif_.get(), &record) == GIF_OK) {
        if (record == IMAGE_DESC_RECORD_TYPE) return readFrameHeader();
        if (record != EXTENSION_RECORD_TYPE || !readExtension()) return false;
    }
    return false;
}

// The image header ends with the LZW minimum code size. When that exceeds 8, giflib fails; no other
// failure leaves 9 to 11 as the last byte read.
bool GifDecoder::readFrameHeader() {
    if (DGifGetImageHeader(gif_.get()) == GIF_OK) return true;
    if (!lastByte_ || *lastByte_ < GifWideLzw::minCodeSize || *lastByte_ > GifWideLzw::maxCodeSize)
        return false;
    wideLzw_.emplace(gif_.get(), *lastByte_);
    return true;
}

// Of several graphic control extensions the last one before the frame counts.
bool GifDecoder::readExtension() {
    int label = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif_.get(), &label, &block) != GIF_OK) return false;
    // A block is its length and as many bytes: the flags, the delay, the transparent index.
    if (label == GRAPHICS_EXT_FUNC_CODE && block != nullptr && block[0] >= 4) {
        const bool transparent = (block[1] & 1) != 0;
        transparentIndex_ = transparent ? std::optional(block[4]) : std::nullopt;
    }
    while (block != nullptr)
        if (DGifGetExtensionNext(gif_.get(), &block) != GIF_OK) return false;
    return true;
}

bool GifDecoder::readColours() {
    const ColorMapObject* map =
        gif_->Image.ColorMap != nullptr ? gif_->Image.ColorMap : gif_->SColorMap;
    if (map == nullptr) return false;
    colours_.fill({0, 0, 0, 255});
    const std::span entries(map->Colors, static_cast<std::size_t>(map->ColorCount));
    std::ranges::transform(entries, colours_.begin(), [](const GifColorType& entry) {
        return Colour{entry.Red, entry.Green, entry.Blue, 255};
    });
    if (transparentIndex_) colours_[*transparentIndex_] = {};
    return true;
}

bool GifDecoder::readPixels(PixelSink& sink) {
    FrameOnCanvas canvas(canvas_, corner_, frame_);
    std::vector<std::uint8_t> indices(frame_.width);
    std::vector<Colour> row(frame_.width);
    const std::span<const Pass> passes =
        gif_->Image.Interlace ? std::span<const Pass>(interlacedFrame) : wholeFrame;
    canvas.above(sink);
    for (const Pass& pass : passes)
        for (std::uint32_t y = pass.firstRow; y < frame_.height; y += pass.rowStep) {
            if (!readRow(indices, row)) return false;
            canvas.row(y, row.front().data(), sink);
        }
    if (wideLzw_ && !wideLzw_->finish()) return false;
    canvas.below(sink);
    return true;
}

// With the frame's last row giflib reads on to the end of the frame's data.
bool GifDecoder::readRow(std::span<std::uint8_t> indices, std::span<Colour> row) {
    const bool read = wideLzw_ ? wideLzw_->read(indices)
                               : DGifGetLine(gif_.get(), indices.data(),
                                             static_cast<int>(indices.size())) == GIF_OK;
    if (!read) return false;
    std::ranges::transform(indices, row.begin(),
                           [this](std::uint8_t index) { return colours_[index]; });
    return true;
}

} // namespace

std::unique_ptr<Decoder> openGif(ByteSource& file) { return std::make_unique<GifDecoder>(file); }

} // namespace sorvane::decoder
