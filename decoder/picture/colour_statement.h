#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

namespace sorvane::decoder {

/// The file says that it is sRGB.
struct DeclaredSrgb {};

/// An ICC profile as the file carries it: nothing about it has been checked.
struct IccProfile {
    std::vector<std::uint8_t> bytes;
};

/// An encoding gamma and chromaticities, both in units of 1/100000: x and y of white, red, green
/// and blue.
struct GammaAndPrimaries {
    std::uint32_t gamma = 0;
    std::array<std::uint32_t, 8> chromaticities{};
};

/// One thing that a file says about its colours.
using ColourStatement = std::variant<DeclaredSrgb, IccProfile, GammaAndPrimaries>;

/// All that a file says, in order of precedence. Empty: the file is untagged.
using ColourStatements = std::vector<ColourStatement>;

/// The largest profile that is read: what 255 pieces of a JPEG can carry, and no profile made for
/// pictures is larger.
inline constexpr std::size_t maxProfileBytes = std::size_t{255} * 65'519;

} // namespace sorvane::decoder
