#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "decoder/formats/tiff/tiff_stored_rows.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// One colour of a palette, 16 bits a channel.
using TiffColour = std::array<std::uint16_t, 3>;

/// How a TIFF's samples are stored, and what they mean.
struct TiffSampleLayout {
    /// Those of the picture that is handed over.
    Channels channels = Channels::rgb;
    /// Bits a sample, 1 to 32; with a palette 1 to 16.
    unsigned bits = 8;
    /// How many samples of a pixel are interleaved in a stored row, dropped ones included; 1 in a
    /// planar picture.
    std::size_t interleaved = 3;
    /// The largest value is black.
    bool minIsWhite = false;
    /// The colours are stored multiplied by alpha.
    bool premultiplied = false;
    /// 2 to the power of `bits` colours; empty when the samples are colours themselves.
    std::vector<TiffColour> palette;

    /// How many samples of a pixel are used: its first ones.
    std::size_t used() const { return channelCount(channels) - (palette.empty() ? 0 : 2); }
    SampleFormat format() const { return {channels, !palette.empty() || bits > 8}; }
};

/// Makes the picture's rows of stored ones: up to 8 bits a sample become 8, more become 16, scaled
/// exactly and rounded to the nearest.
class TiffSamples {
  public:
    TiffSamples(TiffSampleLayout layout, std::size_t width);

    /// Rows of the picture, one after the other, from its stored rows, or from those of its planes,
    /// as many of each. Samples of 16, 24 and 32 bits are in the machine's byte order, others
    /// packed from each byte's highest bit on. Valid until the next call, and as long as what
    /// `stored` points to.
    const std::uint8_t* rows(std::span<const TiffStoredRows> stored);

  private:
    void gather(const TiffStoredRows& stored, std::size_t plane);
    template<class ReaderOf>
    void collect(const TiffStoredRows& stored, std::size_t plane, const ReaderOf& readerOf);
    template<class Sample>
    void finish();
    void lookUp();

    TiffSampleLayout layout_;
    std::size_t width_;
    std::size_t used_;
    bool asStored_;
    // Of up to 8 bits, scaled to 8.
    std::array<std::uint8_t, 256> scaled_{};
    std::vector<std::uint16_t> values_;
    std::vector<std::uint8_t> rows_;
};

} // namespace sorvane::decoder
