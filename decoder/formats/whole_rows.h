#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Hands a picture's rows over from top to bottom: each at once, those of a very narrow picture
/// together.
class RowsInOrder {
  public:
    RowsInOrder(PixelSink& sink, Size size, const SampleFormat& format)
        : sink_(sink),
          size_(size),
          rowBytes_(size.width * format.pixelBytes()),
          together_(std::max(pixelsTogether / size.width, std::uint32_t{1})),
          kept_(together_ > 1 ? together_ * rowBytes_ : 0) {}

    /// The next row. The last one of the picture ends the handing over.
    void take(const std::uint8_t* samples) {
        if (together_ == 1) return sink_.take(PixelRun::wholeRow(row_++, size_.width, samples));
        const std::uint32_t index = row_++ % together_;
        std::memcpy(kept_.data() + index * rowBytes_, samples, rowBytes_);
        if (index + 1 == together_ || row_ == size_.height)
            sink_.take(PixelRun::wholeRows(row_ - index - 1, index + 1, size_.width, kept_.data()));
    }

  private:
    static constexpr std::uint32_t pixelsTogether = 1024;

    PixelSink& sink_;
    Size size_;
    std::size_t rowBytes_;
    std::uint32_t together_;
    std::vector<std::uint8_t> kept_;
    std::uint32_t row_ = 0;
};

/// Hands a decoded picture over, row by row: `fillRow(row, to)` writes the samples of one.
template<class FillRow>
void takeRows(PixelSink& sink, Size size, const SampleFormat& format, const FillRow& fillRow) {
    RowsInOrder rows(sink, size, format);
    std::vector<std::uint8_t> samples(size.width * format.pixelBytes());
    for (std::uint32_t row = 0; row < size.height; ++row) {
        fillRow(row, samples.data());
        rows.take(samples.data());
    }
}

} // namespace sorvane::decoder
