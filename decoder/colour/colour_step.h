#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/colour/conversion.h"
#include "decoder/picture/colour_statement.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The way from a picture's own samples to straight sRGB, 8 bits a channel. It stands between the
/// decoders, which know nothing of colour spaces, and the premultiplication. The first statement of
/// the file that can be used decides; a file that says nothing usable is untagged.
class ColourStep {
  public:
    static constexpr std::size_t blockPixels = Conversion::blockPixels;

    ColourStep(const ColourStatements& statements, SampleFormat format);

    /// Writes at most `blockPixels` pixels to `rgba`, four bytes each; grey stands in all three
    /// colour channels.
    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const;

    /// The samples are what `convert` would write.
    bool keepsSamples() const;

    bool opaque() const { return !hasAlpha(format_.channels); }
    std::size_t pixelBytes() const { return format_.pixelBytes(); }

  private:
    SampleFormat format_;
    // Null: the samples are sRGB's own, or inks of no known paper.
    std::shared_ptr<const Conversion> conversion_;
};

} // namespace sorvane::decoder
