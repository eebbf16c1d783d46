#include "decoder/formats/frame_on_canvas.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace sorvane::decoder {

namespace {

constexpr std::size_t pixelBytes = 4;

} // namespace

FrameOnCanvas::FrameOnCanvas(Size canvas, Position corner, Size frame)
    : canvas_(canvas), corner_(corner), frame_(frame), row_(pixelBytes * canvas.width) {}

void FrameOnCanvas::above(PixelSink& sink) { clearRows(0, corner_.y, sink); }

void FrameOnCanvas::row(std::uint32_t row, const std::uint8_t* rgba, PixelSink& sink) {
    const std::uint64_t y = std::uint64_t{corner_.y} + row;
    if (y >= canvas_.height) return;
    if (corner_.x < canvas_.width) {
        const std::size_t count = std::min(frame_.width, canvas_.width - corner_.x);
        std::memcpy(row_.data() + pixelBytes * corner_.x, rgba, pixelBytes * count);
    }
    sink.take(PixelRun::wholeRow(static_cast<std::uint32_t>(y), canvas_.width, row_.data()));
}

void FrameOnCanvas::below(PixelSink& sink) {
    clearRows(std::uint64_t{corner_.y} + frame_.height, canvas_.height, sink);
}

void FrameOnCanvas::clearRows(std::uint64_t begin, std::uint64_t end, PixelSink& sink) {
    std::ranges::fill(row_, std::uint8_t{0});
    for (std::uint64_t y = begin; y < std::min<std::uint64_t>(end, canvas_.height); ++y)
        sink.take(PixelRun::wholeRow(static_cast<std::uint32_t>(y), canvas_.width, row_.data()));
}

} // namespace sorvane::decoder
