#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "identity/pixels/colour_statement.h"
#include "identity/pixels/picture.h"

namespace sorvane::pixels {

/// The way from a picture's own samples to straight sRGB, 8 bits a channel. It stands between the
/// codecs, which know nothing of colour spaces, and the premultiplication. The first statement of
/// the file that can be used decides; a file that says nothing usable is untagged.
class ColourStep {
  public:
    /// Nothing: the picture's colours are not those of sRGB. It gets no pixel identity then, since
    /// its unconverted channels would be the digest of another picture.
    static std::optional<ColourStep> make(const ColourStatements& statements, SampleFormat format);

    /// Writes `count` pixels to `rgba`, four bytes each; grey stands in all three colour channels.
    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const;

    bool opaque() const { return !hasAlpha(format_.channels); }
    std::size_t pixelBytes() const { return format_.pixelBytes(); }

  private:
    explicit ColourStep(SampleFormat format) : format_(format) {}

    SampleFormat format_;
};

} // namespace sorvane::pixels
