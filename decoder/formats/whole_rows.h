#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// How many rows of a picture are handed over in one call: one, but of a very narrow picture more.
inline std::uint32_t rowsTogether(std::uint32_t width) {
    constexpr std::uint32_t pixelsTogether = 1024;
    return std::max(pixelsTogether / width, std::uint32_t{1});
}

enum class RowOrder : std::uint8_t { topDown, bottomUp };

/// Hands a picture's rows over in their order in the file, as many together as `rowsTogether` says.
class RowsInOrder {
  public:
    RowsInOrder(PixelSink& sink, Size size, const SampleFormat& format,
                RowOrder order = RowOrder::topDown)
        : sink_(sink),
          size_(size),
          rowBytes_(size.width * format.pixelBytes()),
          together_(rowsTogether(size.width)),
          topDown_(order == RowOrder::topDown),
          kept_(together_ > 1 ? together_ * rowBytes_ : 0) {}

    /// The next row. The last one of the picture ends the handing over.
    void take(const std::uint8_t* samples) {
        ++taken_;
        if (together_ == 1) return handOver(1, samples);
        ++waiting_;
        std::memcpy(kept_.data() + (topDown_ ? waiting_ - 1 : together_ - waiting_) * rowBytes_,
                    samples, rowBytes_);
        if (waiting_ < together_ && taken_ < size_.height) return;
        handOver(waiting_, kept_.data() + (topDown_ ? 0 : together_ - waiting_) * rowBytes_);
        waiting_ = 0;
    }

  private:
    void handOver(std::uint32_t rows, const std::uint8_t* samples) {
        const std::uint32_t first = topDown_ ? taken_ - rows : size_.height - taken_;
        sink_.take(PixelRun::wholeRows(first, rows, size_.width, samples));
    }

    PixelSink& sink_;
    Size size_;
    std::size_t rowBytes_;
    std::uint32_t together_;
    bool topDown_;
    std::vector<std::uint8_t> kept_;
    std::uint32_t taken_ = 0;
    std::uint32_t waiting_ = 0;
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
