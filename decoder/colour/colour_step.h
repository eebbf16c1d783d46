#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/colour/conversion.h"
#include "decoder/picture/colour_statement.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Converts a picture's own samples to straight sRGB, 8 bits a channel: the step between the
/// decoders, which know nothing of colour spaces, and premultiplication. The file's first statement
/// that can be used decides. Without one the picture is untagged: its RGB and its grey are sRGB's,
/// and its CMYK are inks that mix like ideal ones.
class ColourStep {
  public:
    static constexpr std::size_t blockPixels = Conversion::blockPixels;

    ColourStep(const ColourStatements& statements, SampleFormat format);

    /// Writes at most `blockPixels` pixels to `rgba`, four bytes each; grey is written to all three
    /// colour channels.
    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const;

    /// True when `convert` would write the samples as they are.
    bool keepsSamples() const;

    bool opaque() const { return !hasAlpha(format_.channels); }
    std::size_t pixelBytes() const { return format_.pixelBytes(); }

  private:
    SampleFormat format_;
    // Null for sRGB and for untagged samples.
    std::shared_ptr<Conversion> conversion_;
};

} // namespace sorvane::decoder
