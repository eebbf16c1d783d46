#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/formats/bmp/dib_header.h"
#include "decoder/input/sequential_reader.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The channels of the samples, of 8 bits each: RGB, or RGBA where the masks have bits of alpha.
/// Channels of other widths are scaled, rounding to the nearest.
Channels dibChannels(const DibHeader& header);

/// Hands over the pixels, which are next in `file`, row by row in the file's order. False: they are
/// cut short. In a run-length coding, pixels that are skipped have the palette's first colour
/// (black in true colour), and pixels beyond the end of their row are dropped. Rows must be within
/// the budget.
bool readDibPixels(const DibHeader& header, SequentialReader& file, PixelSink& sink);

/// A whole picture's rows, kept until what comes after them in the file has been read.
class KeptRows : public PixelSink {
  public:
    /// Takes the memory at once: the size must be within the budget.
    KeptRows(Size size, std::size_t pixelBytes)
        : size_(size),
          rowBytes_(pixelBytes * size.width),
          bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(rowBytes_ * size.height)) {}

    /// Whole rows only.
    void take(const PixelRun& run) override;

    std::uint8_t* row(std::uint32_t y) { return bytes_.get() + rowBytes_ * y; }
    void handOver(PixelSink& sink);

  private:
    Size size_;
    std::size_t rowBytes_;
    std::unique_ptr<std::uint8_t[]> bytes_;
};

} // namespace sorvane::decoder
