#include "decoder/colour/srgb_encoder.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include <doctest/doctest.h>

using namespace sorvane::decoder;

namespace {

using Colour = std::array<std::uint8_t, 3>;

Colour encoded(Light light) {
    static const SrgbEncoder encode;
    std::array<std::uint8_t, 4> rgba{0, 0, 0, 77};
    encode(light, rgba.data());
    CHECK(rgba[3] == 77);
    return {rgba[0], rgba[1], rgba[2]};
}

float lightOf(double code) {
    const double value = code / 255;
    return static_cast<float>(value <= 0.04045 ? value / 12.92
                                               : std::pow((value + 0.055) / 1.055, 2.4));
}

} // namespace

TEST_CASE("light is encoded as the nearest level") {
    for (int code = 0; code <= 255; ++code) {
        const auto level = static_cast<std::uint8_t>(code);
        for (const double within : {-0.4, 0.0, 0.4}) {
            const float light = lightOf(code + within);
            CHECK(encoded(Light{light, 0, 1}) == Colour{level, 0, 255});
            CHECK(encoded(Light{1, light, 0}) == Colour{255, level, 0});
            CHECK(encoded(Light{0, 1, light}) == Colour{0, 255, level});
        }
    }
}

TEST_CASE("light outside sRGB is clamped, and NaN is none") {
    using Limits = std::numeric_limits<float>;
    for (const float none : {-0.0F, -1.0F, Limits::lowest(), -Limits::infinity(),
                             Limits::quiet_NaN(), -Limits::quiet_NaN()})
        for (const float full : {1.0F, 1.0001F, 2.0F, Limits::max(), Limits::infinity()}) {
            CHECK(encoded(Light{none, full, 1, none}) == Colour{0, 255, 255});
            CHECK(encoded(Light{full, 0, none, full}) == Colour{255, 0, 0});
        }
}
