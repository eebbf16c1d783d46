#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "decoder/picture/colour_statement.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// The linear light of sRGB's red, green and blue, 0 to 1. Values below and above belong to colours
/// outside sRGB; a broken profile may give anything, NaN included. The fourth element is padding: a
/// processor computes four at once.
using Light [[gnu::vector_size(16)]] = float;

/// The address space that the engine takes at most, in bytes. While a conversion is built there are
/// the profile as read, the engine's copy of it, its tables twice, and once more while they are
/// joined; tables may grow to double the profile's size.
inline constexpr std::uint64_t engineMemory = std::uint64_t{8} * maxProfileBytes;

/// little-cms2, evaluating a picture's own colour space: perceptual intent, no black-point
/// compensation, set up for exact results rather than for speed.
class ColourEngine {
  public:
    /// Nothing when the engine rejects the profile, or cannot use it for these samples.
    static std::optional<ColourEngine> fromProfile(std::span<const std::uint8_t> bytes,
                                                   SampleFormat format);

    /// The colour space of a display with this encoding gamma and these chromaticities; grey
    /// samples have the gamma alone. Nothing when these make no colour space.
    static std::optional<ColourEngine> fromGamma(const GammaAndPrimaries& statement,
                                                 SampleFormat format);

    /// The light of `count` pixels; alpha is skipped.
    void convert(const std::uint8_t* samples, std::size_t count, Light* lights) const;

    /// True when a colour is the sum of what each of its three channels gives alone, as with a
    /// profile of matrix and curves.
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
    // The transform gives Lab of 16 bits instead of XYZ.
    bool byTable_ = false;
};

/// What a profile calls itself, in printable ASCII, another character as a question mark. Empty
/// when it has no name, or the engine rejects it.
std::string profileName(std::span<const std::uint8_t> bytes);

} // namespace sorvane::decoder
