#include <array>

#include <doctest/doctest.h>

#include "identity/pixels/colour.h"
#include "tests/identity/pixels/profile_bytes.h"

using namespace sorvane::pixels;
using namespace sorvane::test;

namespace {

const ColourStatement srgbProfile = IccProfile{rgbProfile(srgbCurve())};
const ColourStatement otherProfile = IccProfile{rgbProfile(curveTag({0x0233}))};
const ColourStatement noProfile = IccProfile{Bytes(300)};
constexpr std::array<std::uint32_t, 8> srgbPrimaries = {31270, 32900, 64000, 33000,
                                                        30000, 60000, 15000, 6000};
constexpr std::array<std::uint32_t, 8> otherPrimaries = {31270, 32900, 68000, 32000,
                                                         26500, 69000, 15000, 6000};

bool taken(const ColourStatements& statements, Channels channels = Channels::rgb) {
    return ColourStep::make(statements, {channels, false}).has_value();
}

template<class Sample>
Bytes converted(Channels channels, const std::vector<Sample>& samples) {
    const auto step = ColourStep::make({}, {channels, sizeof(Sample) == 2});
    REQUIRE(step);
    const std::size_t count = samples.size() / channelCount(channels);
    Bytes rgba(4 * count);
    step->convert(reinterpret_cast<const std::uint8_t*>(samples.data()), count, rgba.data());
    return rgba;
}

} // namespace

TEST_CASE("untagged pictures and those that say sRGB are taken, others are not") {
    CHECK(taken({}));
    CHECK(taken({}, Channels::grey));
    CHECK(taken({SaysSrgb{}}));
    CHECK(taken({srgbProfile}));
    CHECK_FALSE(taken({otherProfile}));
    CHECK(taken({GammaAndPrimaries{45455, srgbPrimaries}}));
    CHECK(taken({GammaAndPrimaries{45500, srgbPrimaries}}));
    CHECK_FALSE(taken({GammaAndPrimaries{55556, srgbPrimaries}}));
    CHECK_FALSE(taken({GammaAndPrimaries{45455, otherPrimaries}}));
    CHECK_FALSE(taken({GammaAndPrimaries{4294967295, srgbPrimaries}}));
}

TEST_CASE("the first statement that can be used decides") {
    CHECK_FALSE(taken({otherProfile, SaysSrgb{}}));
    CHECK(taken({SaysSrgb{}, otherProfile}));
    CHECK(taken({noProfile, SaysSrgb{}, otherProfile}));
    CHECK_FALSE(taken({noProfile, otherProfile}));
    CHECK(taken({noProfile}));
    CHECK(taken({GammaAndPrimaries{0, otherPrimaries}}));
    CHECK_FALSE(taken({srgbProfile, GammaAndPrimaries{55556, srgbPrimaries}}, Channels::grey));
}

TEST_CASE("grey is replicated and what has no alpha is opaque") {
    CHECK(converted<std::uint8_t>(Channels::grey, {7, 200}) ==
          Bytes{7, 7, 7, 255, 200, 200, 200, 255});
    CHECK(converted<std::uint8_t>(Channels::greyAlpha, {7, 9}) == Bytes{7, 7, 7, 9});
    CHECK(converted<std::uint8_t>(Channels::rgb, {1, 2, 3}) == Bytes{1, 2, 3, 255});
    CHECK(converted<std::uint8_t>(Channels::rgba, {1, 2, 3, 0}) == Bytes{1, 2, 3, 0});
}

TEST_CASE("16 bits are rounded to the nearest of 8") {
    CHECK(converted<std::uint16_t>(Channels::grey, {0, 128, 129, 65406, 65407, 65535}) ==
          Bytes{0,   0,   0,   255, 0,   0,   0,   255, 1,   1,   1,   255,
                254, 254, 254, 255, 255, 255, 255, 255, 255, 255, 255, 255});
    CHECK(converted<std::uint16_t>(Channels::rgba, {257, 514, 771, 65535}) == Bytes{1, 2, 3, 255});
}
