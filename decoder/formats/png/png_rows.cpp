#include "decoder/formats/png/png_rows.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "decoder/formats/png/png_filters.h"
#include "decoder/formats/png/png_passes.h"
#include "decoder/formats/whole_rows.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

// Rows are inflated in batches of about this size: each call makes the library copy something, and
// a larger batch would not stay in the processor's cache.
constexpr std::size_t batchSize = 262'144;

// A multiple of the rows that are undone at once.
std::uint32_t rowsInBatch(std::size_t stride) {
    return static_cast<std::uint32_t>((batchSize / stride / rowsAtOnce + 1) * rowsAtOnce);
}

/// The rows of a picture, or of one pass over it.
class RowReader {
  public:
    RowReader(PngInflater& data, const PngSampleForm& form, Size size)
        : data_(data),
          form_(form),
          size_(size),
          rowBytes_(form.rowBytes(size.width)),
          stride_(1 + rowBytes_),
          batchRows_(std::min(size.height, rowsInBatch(stride_))),
          rowsPerBlock_(rowsPerBlock(size.width)),
          batch_(static_cast<std::uint8_t*>(std::calloc(1 + batchRows_, stride_))),
          samples_(form) {
        if (!batch_) throw std::bad_alloc();
    }

    /// Calls `take(samples, count)` for the next `count` rows, again and again.
    template<class Take>
    bool read(const Take& take) {
        for (std::uint32_t y = 0; y < size_.height; y += batchRows_) {
            const std::uint32_t count = std::min(batchRows_, size_.height - y);
            const std::size_t pixelBytes = form_.filterBytes();
            if (!data_.fill({slot(1), count * stride_}) ||
                !unfilterRows({slot(1), count, rowBytes_ / pixelBytes, pixelBytes}))
                return false;
            // Before the samples are made, which changes the rows.
            if (y + count < size_.height) std::memcpy(slot(0), slot(count), stride_);
            for (std::uint32_t i = 0; i < count; i += rowsPerBlock_) {
                const std::uint32_t rows = std::min(rowsPerBlock_, count - i);
                take(samples_.rows(slot(1 + i) + 1, size_.width, rows), rows);
            }
        }
        return true;
    }

  private:
    // The batch's rows are in the slots from 1 on, each after its filter byte; in slot 0 is the row
    // above them, at first zeros of fresh pages: a row may be as long as the file says, and the
    // file be cut short.
    std::uint8_t* slot(std::uint32_t index) { return batch_.get() + index * stride_; }

    PngInflater& data_;
    const PngSampleForm& form_;
    Size size_;
    std::size_t rowBytes_;
    std::size_t stride_;
    std::uint32_t batchRows_;
    std::uint32_t rowsPerBlock_;
    std::unique_ptr<std::uint8_t, Release<std::free>> batch_;
    PngSamples samples_;
};

bool readPasses(PngInflater& data, const PngRowForm& form, PixelSink& sink) {
    for (const PngPass& pass : adam7) {
        const Size size = pass.sizeOf(form.size);
        if (size.width == 0 || size.height == 0) continue;
        std::uint32_t row = pass.first.y;
        const bool read = RowReader(data, form.samples, size)
                              .read([&](const std::uint8_t* samples, std::uint32_t rows) {
                                  sink.take({row, pass.first.x, pass.columnStep, size.width,
                                             samples, rows, pass.rowStep});
                                  row += rows * pass.rowStep;
                              });
        if (!read) return false;
    }
    return true;
}

bool readWhole(PngInflater& data, const PngRowForm& form, PixelSink& sink) {
    std::uint32_t row = 0;
    return RowReader(data, form.samples, form.size)
        .read([&](const std::uint8_t* samples, std::uint32_t rows) {
            sink.take(PixelRun::wholeRows(row, rows, form.size.width, samples));
            row += rows;
        });
}

} // namespace

bool readPngRows(PngInflater& data, const PngRowForm& form, PixelSink& sink) {
    const bool read = form.interlaced ? readPasses(data, form, sink) : readWhole(data, form, sink);
    return read && data.finish();
}

} // namespace sorvane::decoder
