#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "decoder/picture/colour_statement.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Red, green and blue of sRGB's primaries as amounts of light, 0 to 1; below and above lie the
/// colours that sRGB cannot show. A broken profile may make them anything, even no numbers. The
/// fourth means nothing: a processor takes four at once.
using Light [[gnu::vector_size(16)]] = float;

/// What the engine takes at most, in bytes of address space. A profile is there four times while a
/// conversion is built of it: as the file has it, as the engine has copied it, and its tables
/// twice, which may have grown to double their size; and once more while they are joined.
inline constexpr std::uint64_t engineMemory = std::uint64_t{8} * profileLimit;

/// little-cms2, evaluating a picture's own colour space: perceptual intent, no compensation of
/// black points. It is exact before it is fast, and says nothing about its errors.
class ColourEngine {
  public:
    /// Nothing: the engine does not take the profile, or not for these samples.
    static std::optional<ColourEngine> fromProfile(std::span<const std::uint8_t> bytes,
                                                   SampleFormat format);

    /// A display of this encoding gamma and these chromaticities, or for grey samples a scale of
    /// this gamma alone.
    static std::optional<ColourEngine> fromGamma(const GammaAndPrimaries& said,
                                                 SampleFormat format);

    /// The colours of `count` pixels; alpha is passed over.
    void convert(const std::uint8_t* samples, std::size_t count, Light* lights) const;

    /// Whether a colour is the sum of what its three channels give alone, as it is with a profile
    /// of matrix and curves.
    bool additive() const { return additive_; }

  private:
    // The engine's own handles are untyped.
    struct Close {
        void operator()(void* profile) const;
    };
    struct Delete {
        void operator()(void* transform) const;
    };
    using Profile = std::unique_ptr<void, Close>;
    using Transform = std::unique_ptr<void, Delete>;

    static std::optional<ColourEngine> from(const Profile& source, SampleFormat format);
    void convertByTable(const std::uint8_t* samples, std::size_t count, Light* lights) const;

    Transform transform_;
    std::size_t pixelBytes_ = 0;
    bool additive_ = false;
    // The transform ends in Lab of 16 bits, not in XYZ.
    bool byTable_ = false;
};

} // namespace sorvane::decoder
