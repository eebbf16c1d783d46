#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/formats/bmp/dib_header.h"
#include "decoder/input/sequential_reader.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// What the bitmap's pixels are handed over as: RGB, or RGBA where the masks have bits of alpha. 8
/// bits each, rounded to the nearest from masks of other widths.
Channels dibChannels(const DibHeader& header);

/// Hands over the pixels, at which `file` stands, row by row in the file's order. False: they are
/// cut short. In a run-length coding pixels that are passed over have the palette's first colour
/// (in true colour black), and what goes beyond its row is clipped. Rows must be within the budget.
bool readDibPixels(const DibHeader& header, SequentialReader& file, PixelSink& sink);

/// A whole picture's rows, kept until what lies behind them in the file has been read.
class KeptRows : public PixelSink {
  public:
    /// Takes the memory at once: the size must be within the budget.
    KeptRows(Size size, std::size_t pixelBytes)
        : size_(size),
          rowBytes_(pixelBytes * size.width),
          bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(rowBytes_ * size.height)) {}

    /// Whole rows only.
    void take(const PixelRun& span) override;

    std::uint8_t* row(std::uint32_t y) { return bytes_.get() + rowBytes_ * y; }
    void handOver(PixelSink& sink);

  private:
    Size size_;
    std::size_t rowBytes_;
    std::unique_ptr<std::uint8_t[]> bytes_;
};

} // namespace sorvane::decoder
