#include "decoder/formats/png/png_rows.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "decoder/formats/png/png_filters.h"

namespace sorvane::decoder {

namespace {

// Rows are inflated in batches of about this size: each call makes the library copy something, and
// a larger batch would not stay in the processor's cache.
constexpr std::size_t batchSize = 262'144;

void lookUp(const PngPalette& palette, std::span<const std::uint8_t> indices,
            std::uint8_t* samples) {
    const std::size_t channels = palette.transparent ? 4 : 3;
    for (const std::uint8_t index : indices)
        samples = std::copy_n(palette.colours[index].data(), channels, samples);
}

// A multiple of the rows that are undone at once.
std::uint32_t rowsInBatch(std::size_t stride) {
    return static_cast<std::uint32_t>((batchSize / stride / rowsAtOnce + 1) * rowsAtOnce);
}

class RowReader {
  public:
    RowReader(PngInflater& data, const PngRowForm& form)
        : data_(data),
          form_(form),
          stride_(1 + form.pixelBytes * form.size.width),
          batchRows_(std::min(form.size.height, rowsInBatch(stride_))),
          batch_(std::make_unique_for_overwrite<std::uint8_t[]>((1 + batchRows_) * stride_)) {
        std::memset(slot(batchRows_), 0, stride_);
        if (form.palette) samples_.resize(std::size_t{4} * form.size.width);
    }

    bool read(PixelSink& sink) {
        for (std::uint32_t y = 0; y < form_.size.height; y += batchRows_) {
            const std::uint32_t count = std::min(batchRows_, form_.size.height - y);
            std::memcpy(slot(0), slot(batchRows_), stride_);
            if (!data_.fill({slot(1), count * stride_})) return false;
            if (!unfilterRows({slot(1), count, form_.size.width, form_.pixelBytes})) return false;
            for (std::uint32_t i = 0; i < count; ++i) handOver(y + i, slot(1 + i) + 1, sink);
        }
        return data_.finish();
    }

  private:
    // The batch's rows are in the slots from 1 on, each after its filter byte; in slot 0 is the row
    // above them.
    std::uint8_t* slot(std::uint32_t index) { return batch_.get() + index * stride_; }

    void handOver(std::uint32_t y, const std::uint8_t* row, PixelSink& sink) {
        if (form_.palette) {
            lookUp(*form_.palette, {row, stride_ - 1}, samples_.data());
            row = samples_.data();
        }
        sink.take(PixelRun::wholeRow(y, form_.size.width, row));
    }

    PngInflater& data_;
    const PngRowForm& form_;
    std::size_t stride_;
    std::uint32_t batchRows_;
    std::unique_ptr<std::uint8_t[]> batch_;
    std::vector<std::uint8_t> samples_;
};

} // namespace

bool readPngRows(PngInflater& data, const PngRowForm& form, PixelSink& sink) {
    return RowReader(data, form).read(sink);
}

} // namespace sorvane::decoder
