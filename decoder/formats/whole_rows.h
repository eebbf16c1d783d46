#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// How many rows of a picture are handed over in one call: one, but of a very narrow picture more.
inline std::uint32_t rowsPerBlock(std::uint32_t width) {
    constexpr std::uint32_t blockPixels = 1024;
    return std::max(blockPixels / width, std::uint32_t{1});
}

enum class RowOrder : std::uint8_t { topDown, bottomUp };

/// Hands a picture's rows over in their order in the file, `rowsPerBlock` at once.
class RowsInOrder {
  public:
    RowsInOrder(PixelSink& sink, Size size, const SampleFormat& format,
                RowOrder order = RowOrder::topDown)
        : sink_(sink),
          size_(size),
          rowBytes_(size.width * format.pixelBytes()),
          rowsPerBlock_(rowsPerBlock(size.width)),
          topDown_(order == RowOrder::topDown) {}

    /// Where the samples of the next row are to be written; `rowWritten` takes them from there.
    std::uint8_t* nextRow() {
        if (block_.empty()) block_.resize(rowsPerBlock_ * rowBytes_);
        return block_.data() + (topDown_ ? waiting_ : rowsPerBlock_ - 1 - waiting_) * rowBytes_;
    }

    void rowWritten() { written(1); }

    /// The next rows, one after the other in their order in the file.
    void take(const std::uint8_t* samples, std::uint32_t count = 1) {
        if (count == rowsPerBlock_ && waiting_ == 0 && topDown_) return handOver(count, samples);
        while (count > 0) {
            const std::uint32_t copied = topDown_ ? std::min(count, rowsPerBlock_ - waiting_) : 1;
            std::memcpy(nextRow(), samples, copied * rowBytes_);
            written(copied);
            samples += copied * rowBytes_;
            count -= copied;
        }
    }

  private:
    // The last row of the picture ends the handing over.
    void written(std::uint32_t rows) {
        waiting_ += rows;
        if (waiting_ < rowsPerBlock_ && taken_ + waiting_ < size_.height) return;
        handOver(waiting_, block_.data() + (topDown_ ? 0 : rowsPerBlock_ - waiting_) * rowBytes_);
        waiting_ = 0;
    }

    void handOver(std::uint32_t rows, const std::uint8_t* samples) {
        const std::uint32_t first = topDown_ ? taken_ : size_.height - taken_ - rows;
        sink_.take(PixelRun::wholeRows(first, rows, size_.width, samples));
        taken_ += rows;
    }

    PixelSink& sink_;
    Size size_;
    std::size_t rowBytes_;
    std::uint32_t rowsPerBlock_;
    bool topDown_;
    // Of the rows that are handed over together.
    std::vector<std::uint8_t> block_;
    std::uint32_t taken_ = 0;
    std::uint32_t waiting_ = 0;
};

/// Hands a decoded picture over, row by row: `fillRow(row, to)` writes the samples of one.
template<class FillRow>
void takeRows(PixelSink& sink, Size size, const SampleFormat& format, const FillRow& fillRow) {
    RowsInOrder rows(sink, size, format);
    for (std::uint32_t row = 0; row < size.height; ++row) {
        fillRow(row, rows.nextRow());
        rows.rowWritten();
    }
}

} // namespace sorvane::decoder
