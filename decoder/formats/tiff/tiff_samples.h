#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// One colour of a palette, 16 bits a channel.
using TiffColour = std::array<std::uint16_t, 3>;

/// What a TIFF's samples mean.
struct TiffSampleLayout {
    /// Of the picture as it is handed over.
    Channels channels = Channels::rgb;
    /// Bits a sample, 1 to 16.
    unsigned bits = 8;
    /// Samples of a pixel that lie side by side in a stored row, those that are dropped included; 1
    /// when every sample has a row of its own.
    std::size_t together = 3;
    /// The greatest value stands for black.
    bool minIsWhite = false;
    /// The colours are stored multiplied by alpha.
    bool premultiplied = false;
    /// Of 2 to the power of `bits` colours; or empty, and the samples are colours themselves.
    std::vector<TiffColour> palette;

    /// How many samples of a pixel are looked at, which are its first ones.
    std::size_t used() const { return channelCount(channels) - (palette.empty() ? 0 : 2); }
    SampleFormat format() const { return {channels, !palette.empty() || bits > 8}; }
};

/// The way from stored rows to the picture's: up to 8 bits a sample to 8, more to 16, exactly
/// scaled and rounded to the nearest.
class TiffSamples {
  public:
    TiffSamples(TiffSampleLayout layout, std::size_t width);

    /// One row of the picture from its stored row, or from the rows of its samples. Samples of 16
    /// bits are in the machine's order, shorter ones packed from each byte's highest bit on. Valid
    /// until the next call, and as long as what `stored` points to.
    const std::uint8_t* row(std::span<const std::uint8_t* const> stored);

  private:
    void gather(std::span<const std::uint8_t* const> stored);
    template<class Sample>
    void finish();
    void lookUp();

    TiffSampleLayout layout_;
    std::size_t width_;
    std::size_t used_;
    bool asStored_;
    std::vector<std::uint16_t> values_;
    std::vector<std::uint8_t> row_;
};

} // namespace sorvane::decoder
