#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/colour/colour_engine.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Converts the samples of another colour space to sRGB, 8 bits a channel. Each value is the
/// nearest one, but for a few hundredths of a level.
class Conversion {
  public:
    /// The largest number of pixels for one call.
    static constexpr std::size_t blockPixels = 1024;

    /// The fastest conversion with the engine's results. One channel, and three that are additive,
    /// are looked up in tables that the engine fills as far as pixels need them. Null when the
    /// tables of three channels hold values that are not finite; 256 values of each are tried.
    static std::unique_ptr<Conversion> make(ColourEngine engine, SampleFormat format);

    virtual ~Conversion() = default;

    /// Writes red, green and blue of at most `blockPixels` pixels to `rgba`, four bytes a pixel.
    /// The fourth must hold the pixel's alpha already, and keeps it.
    virtual void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) = 0;
};

} // namespace sorvane::decoder
