#include "identity/pixels/codecs/png_rows.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "identity/pixels/codecs/png_filters.h"

namespace sorvane::pixels {

namespace {

// Rows are inflated in batches of about this size: each begins with some copying inside the
// library, and a larger one would leave the processor's cache.
constexpr std::size_t batchSize = 256 * 1024;

void lookUp(const PngPalette& palette, std::span<const std::uint8_t> numbers,
            std::uint8_t* samples) {
    const std::size_t channels = palette.transparent ? 4 : 3;
    for (const std::uint8_t number : numbers)
        samples = std::copy_n(palette.colours[number].data(), channels, samples);
}

class RowReader {
  public:
    RowReader(PngInflater& data, const PngRowForm& form)
        : data_(data),
          form_(form),
          stride_(1 + form.pixelBytes * form.size.width),
          most_(static_cast<std::uint32_t>(std::max<std::size_t>(1, batchSize / stride_))),
          batch_(std::make_unique_for_overwrite<std::uint8_t[]>((1 + most_) * stride_)) {
        std::memset(slot(most_), 0, stride_);
        if (form.palette) samples_.resize(std::size_t{4} * form.size.width);
    }

    bool read(SpanSink& sink) {
        for (std::uint32_t y = 0; y < form_.size.height; y += most_) {
            const std::uint32_t count = std::min(most_, form_.size.height - y);
            std::memcpy(slot(0), slot(most_), stride_);
            if (!data_.fill({slot(1), count * stride_})) return false;
            for (std::uint32_t i = 0; i < count; ++i)
                if (!handOver(y + i, slot(1 + i), sink)) return false;
        }
        return data_.finish();
    }

  private:
    // The batch's rows stand in the slots from 1 on, each behind its filter byte; in slot 0 stands
    // the row above them.
    std::uint8_t* slot(std::uint32_t number) { return batch_.get() + number * stride_; }

    bool handOver(std::uint32_t y, std::uint8_t* filtered, SpanSink& sink) {
        const std::span<std::uint8_t> row(filtered + 1, stride_ - 1);
        if (!unfilterRow(*filtered, row, row.data() - stride_, form_.pixelBytes)) return false;
        if (form_.palette) lookUp(*form_.palette, row, samples_.data());
        const std::uint8_t* samples = form_.palette ? samples_.data() : row.data();
        sink.take({y, 0, 1, form_.size.width, samples});
        return true;
    }

    PngInflater& data_;
    const PngRowForm& form_;
    std::size_t stride_;
    std::uint32_t most_;
    std::unique_ptr<std::uint8_t[]> batch_;
    std::vector<std::uint8_t> samples_;
};

} // namespace

bool readPngRows(PngInflater& data, const PngRowForm& form, SpanSink& sink) {
    return RowReader(data, form).read(sink);
}

} // namespace sorvane::pixels
