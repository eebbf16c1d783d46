#include "decoder/formats/webp/webp.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include <webp/decode.h>

#include "decoder/formats/frame_on_canvas.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

// libwebp is given the picture's data in pieces of this size or, of large ones, in this many.
constexpr std::size_t minPiece = std::size_t{4} << 10;
constexpr std::size_t maxPieces = 64;

// How much of the data libwebp is shown after the first `shown` bytes. It starts the tables of a
// lossless picture again whenever they are not complete, so until a row comes the data double: all
// beginnings together are no longer than twice the data.
std::size_t shownNext(std::size_t shown, std::size_t size, bool rowsCome) {
    const std::size_t piece = rowsCome ? size / maxPieces : shown;
    return std::min(shown + std::max(minPiece, piece), size);
}

// Rows are freed together, since freeing is a system call.
constexpr std::size_t minRelease = std::size_t{1} << 20;

/// Where libwebp puts the frame's pixels. It wants room for all of them; the memory of those that
/// have been handed over is freed, so that a large picture is never here as a whole.
class FrameMemory {
  public:
    explicit FrameMemory(Size frame)
        : stride_(std::size_t{4} * frame.width),
          size_(stride_ * frame.height),
          bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(size_)) {}

    WebPRGBABuffer buffer() { return {bytes_.get(), static_cast<int>(stride_), size_}; }

    const std::uint8_t* row(std::uint32_t y) const { return bytes_.get() + stride_ * y; }

    /// The rows before `y` are not needed any more.
    void release(std::uint32_t y) {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        const auto begin = reinterpret_cast<std::uintptr_t>(bytes_.get());
        const std::uintptr_t from = (begin + released_ + page - 1) / page * page;
        const std::uintptr_t to = (begin + stride_ * y) / page * page;
        if (to < from + minRelease) return;
        ::madvise(bytes_.get() + (from - begin), to - from, MADV_DONTNEED);
        released_ = to - begin;
    }

  private:
    std::size_t stride_;
    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t released_ = 0;
};

class WebpDecoder final : public Decoder {
  public:
    explicit WebpDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    ByteSource& file_;
    WebpPicture picture_;
};

std::optional<PictureHeader> WebpDecoder::readHeader() {
    auto picture = readWebpContainer(file_);
    if (!picture) return std::nullopt;
    picture_ = std::move(*picture);
    PictureHeader header;
    header.size = picture_.canvas;
    header.orientation = picture_.orientation;
    header.samples.channels = Channels::rgba;
    header.colour = std::move(picture_.colour);
    return header;
}

bool WebpDecoder::readPixels(PixelSink& sink) {
    FrameMemory frame(picture_.frame);
    FrameOnCanvas canvas(picture_.canvas, picture_.corner, picture_.frame);
    // At its defaults: fancy upsampling, no dithering, no threads.
    WebPDecoderConfig config;
    if (WebPInitDecoderConfig(&config) == 0) return false;
    config.output.colorspace = MODE_RGBA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA = frame.buffer();
    const std::unique_ptr<WebPIDecoder, Release<WebPIDelete>> decoder(
        WebPIDecode(nullptr, 0, &config));
    if (!decoder) return false;

    canvas.above(sink);
    std::uint32_t row = 0;
    VP8StatusCode status = VP8_STATUS_SUSPENDED;
    for (std::size_t shown = 0; status == VP8_STATUS_SUSPENDED && shown < picture_.chunksSize;) {
        shown = shownNext(shown, picture_.chunksSize, row > 0);
        status = WebPIUpdate(decoder.get(), picture_.chunks.get(), shown);
        int ready = 0;
        WebPIDecGetRGB(decoder.get(), &ready, nullptr, nullptr, nullptr);
        for (; row < static_cast<std::uint32_t>(ready); ++row)
            canvas.row(row, frame.row(row), sink);
        frame.release(row);
    }
    canvas.below(sink);
    return status == VP8_STATUS_OK && row == picture_.frame.height;
}

} // namespace

std::unique_ptr<Decoder> openWebp(ByteSource& file) { return std::make_unique<WebpDecoder>(file); }

} // namespace sorvane::decoder
