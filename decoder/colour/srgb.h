#pragma once

#include <array>
#include <cmath>
#include <cstdint>

/// sRGB in numbers, for whoever recognises it, converts to it or writes it down.
namespace sorvane::decoder::srgb {

using Xyz = std::array<double, 3>;

/// The curve's numbers: light is ((value + offset) / scale) ^ exponent above the threshold, and
/// value / slope up to it.
inline constexpr double exponent = 2.4;
inline constexpr double scale = 1.055;
inline constexpr double offset = 0.055;
inline constexpr double slope = 12.92;
inline constexpr double threshold = 0.04045;
inline constexpr double lightThreshold = 0.0031308;

/// The curve, from an encoded value to light, as parameters of the ICC profiles' third kind:
/// (a * value + b) ^ g from d on, c * value below it, in the order g, a, b, c, d.
inline constexpr std::array<double, 5> curve = {exponent, 1 / scale, offset / scale, 1 / slope,
                                                threshold};

/// The light, 0 to 1, that an encoded value means.
inline double light(double encoded) {
    if (encoded <= threshold) return encoded / slope;
    return std::pow((encoded + offset) / scale, exponent);
}

/// The encoded value, 0 to 1, of light.
inline double encoded(double light) {
    if (light <= lightThreshold) return slope * light;
    return scale * std::pow(light, 1 / exponent) - offset;
}

/// The encoding gamma that stands for the curve where a file has one number for it, and x and y of
/// white (D65), red, green and blue, all in units of 1/100000.
inline constexpr std::uint32_t gamma = 45'455;
inline constexpr std::array<std::uint32_t, 8> chromaticities = {31'270, 32'900, 64'000, 33'000,
                                                                30'000, 60'000, 15'000, 6'000};

/// White as all ICC profiles have it (D50), and the primaries as seen under it, adapted by
/// Bradford's method.
inline constexpr Xyz profileWhite = {0.9642, 1, 0.8249};
inline constexpr Xyz red = {0.43607, 0.22249, 0.01392};
inline constexpr Xyz green = {0.38515, 0.71687, 0.09708};
inline constexpr Xyz blue = {0.14307, 0.06061, 0.71410};

/// From X, Y and Z under that white to the light of red, green and blue, column by column: the
/// inverse of the primaries, without the rounding that they have in profiles.
inline constexpr std::array<Xyz, 3> fromXyz = {{{3.1341863642, -0.9787485042, 0.0719639278},
                                                {-1.6172089590, 1.9161300968, -0.2289938735},
                                                {-0.4906940641, 0.0334333992, 1.4057537329}}};

} // namespace sorvane::decoder::srgb
