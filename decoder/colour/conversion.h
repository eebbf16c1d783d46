#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/colour/colour_engine.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// A way from the samples of another colour space to sRGB, 8 bits a channel, each value the nearest
/// one but for a few hundredths of a level.
class Conversion {
  public:
    /// The most pixels that are converted at once.
    static constexpr std::size_t blockPixels = 1024;

    /// Takes the engine's place where everything it could say fits into tables: for one channel,
    /// and for three that add up. Null: it says what are no colours.
    static std::shared_ptr<const Conversion> make(ColourEngine engine, SampleFormat format);

    virtual ~Conversion() = default;

    /// Writes red, green and blue of at most `blockPixels` pixels to `rgba`, four bytes each, whose
    /// fourth is there already: the alpha of the same samples.
    virtual void convert(const std::uint8_t* samples, std::size_t count,
                         std::uint8_t* rgba) const = 0;
};

} // namespace sorvane::decoder
