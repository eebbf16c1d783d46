#include "decoder/colour/srgb.h"

#include <cmath>

#include <doctest/doctest.h>

using namespace sorvane::decoder;

TEST_CASE("sRGB's curve in its three forms is one curve") {
    const auto [g, a, b, c, d] = srgb::curve;
    for (int code = 0; code <= 255; ++code) {
        const double value = code / 255.0;
        const double light = value >= d ? std::pow(a * value + b, g) : c * value;
        CHECK(srgb::light(value) == doctest::Approx(light));
        CHECK(srgb::encoded(light) == doctest::Approx(value).epsilon(1e-6));
    }
}

TEST_CASE("sRGB's matrix brings its primaries to themselves, and white to white") {
    const auto converted = [](const srgb::Xyz& xyz) {
        srgb::Xyz rgb{};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t channel = 0; channel < 3; ++channel)
                rgb[channel] += srgb::fromXyz[i][channel] * xyz[i];
        return rgb;
    };
    constexpr double rounding = 5e-4;
    const srgb::Xyz primaries[] = {srgb::red, srgb::green, srgb::blue};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t channel = 0; channel < 3; ++channel) {
            CHECK(std::abs(converted(primaries[i])[channel] - (channel == i ? 1 : 0)) < rounding);
            CHECK(std::abs(converted(srgb::profileWhite)[channel] - 1) < rounding);
        }
}

TEST_CASE("sRGB's gamma in files is 1 / 2.2") { CHECK(srgb::gamma == std::lround(100'000 / 2.2)); }
