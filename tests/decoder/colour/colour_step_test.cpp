#include "decoder/colour/colour_step.h"

#include <array>

#include <doctest/doctest.h>

#include "tests/decoder/colour/profile_bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

const ColourStatement srgbProfile = IccProfile{rgbProfile(srgbCurve())};
const ColourStatement otherProfile = IccProfile{rgbProfile(curveTag({0x0233}))};
const ColourStatement noProfile = IccProfile{Bytes(300)};
constexpr std::array<std::uint32_t, 8> srgbPrimaries = {31270, 32900, 64000, 33000,
                                                        30000, 60000, 15000, 6000};
constexpr std::array<std::uint32_t, 8> otherPrimaries = {31270, 32900, 68000, 32000,
                                                         26500, 69000, 15000, 6000};

template<class Sample>
Bytes converted(Channels channels, const std::vector<Sample>& samples,
                const ColourStatements& statements = {}) {
    const ColourStep step(statements, {channels, sizeof(Sample) == 2});
    const std::size_t count = samples.size() / channelCount(channels);
    Bytes rgba(4 * count);
    step.convert(reinterpret_cast<const std::uint8_t*>(samples.data()), count, rgba.data());
    return rgba;
}

// Whether the statements leave a colour alone that every other colour space changes.
bool keeps(const ColourStatements& statements, Channels channels = Channels::rgb) {
    const Bytes colour = {130, 60, 20, 255};
    const Bytes samples(colour.begin(),
                        colour.begin() + static_cast<std::ptrdiff_t>(channelCount(channels)));
    return converted<std::uint8_t>(channels, samples, statements) ==
           converted<std::uint8_t>(channels, samples);
}

} // namespace

TEST_CASE("untagged pictures and those that say sRGB keep their colours, others are converted") {
    CHECK(keeps({}));
    CHECK(keeps({}, Channels::grey));
    CHECK(keeps({DeclaredSrgb{}}));
    CHECK(keeps({srgbProfile}));
    CHECK_FALSE(keeps({otherProfile}));
    CHECK(keeps({GammaAndPrimaries{45455, srgbPrimaries}}));
    CHECK(keeps({GammaAndPrimaries{45500, srgbPrimaries}}));
    CHECK_FALSE(keeps({GammaAndPrimaries{55556, srgbPrimaries}}));
    CHECK_FALSE(keeps({GammaAndPrimaries{45455, otherPrimaries}}));
    CHECK_FALSE(keeps({GammaAndPrimaries{4294967295, srgbPrimaries}}));
    CHECK_FALSE(keeps({GammaAndPrimaries{1, srgbPrimaries}}, Channels::greyAlpha));
}

TEST_CASE("the first statement that can be used decides") {
    CHECK_FALSE(keeps({otherProfile, DeclaredSrgb{}}));
    CHECK(keeps({DeclaredSrgb{}, otherProfile}));
    CHECK(keeps({noProfile, DeclaredSrgb{}, otherProfile}));
    CHECK_FALSE(keeps({noProfile, otherProfile}));
    CHECK(keeps({noProfile}));
    CHECK(keeps({GammaAndPrimaries{0, otherPrimaries}}));
    CHECK_FALSE(keeps({srgbProfile, GammaAndPrimaries{55556, srgbPrimaries}}, Channels::grey));
}

TEST_CASE("what is no colour space counts as absent") {
    CHECK(keeps({GammaAndPrimaries{55556, {}}}));
    CHECK(keeps({GammaAndPrimaries{55556, {31270, 0, 64000, 33000, 30000, 60000, 15000, 6000}}}));
    CHECK(keeps({GammaAndPrimaries{55556, {31270, 32900, 64000, 33000, 64000, 33000, 15000, 60}}}));
    CHECK(keeps({GammaAndPrimaries{55556, srgbPrimaries}}, Channels::cmyk));
    CHECK(keeps({otherProfile}, Channels::cmyk));
    ProfileTags tags = srgbTags(curveTag({0x0233}));
    tags.emplace_back("A2B0", joined({bytes("mft2"), Bytes(60)}));
    CHECK(keeps({IccProfile{profileOf(tags, "RGB ")}}));
    CHECK(keeps({IccProfile{profileOf({{"A2B0", tags.back().second}}, "CMYK", "Lab ", "prtr")}},
                Channels::cmyk));
}

TEST_CASE("a floating-point table is ignored") {
    // One step, which makes every colour black.
    const Bytes step = joined({bytes("matf"), Bytes(4), {0, 3, 0, 3}, Bytes(48)});
    const Bytes table = joined({bytes("mpet"),
                                Bytes(4),
                                {0, 3, 0, 3},
                                bigEndian32(1),
                                bigEndian32(24),
                                bigEndian32(static_cast<std::uint32_t>(step.size())),
                                step});
    ProfileTags tags = srgbTags(curveTag({0x0233}));
    const auto plain = IccProfile{profileOf(tags, "RGB ")};
    tags.emplace_back("D2B0", table);
    const Bytes samples = {130, 60, 20};
    CHECK(converted<std::uint8_t>(Channels::rgb, samples, {IccProfile{profileOf(tags, "RGB ")}}) ==
          converted<std::uint8_t>(Channels::rgb, samples, {plain}));
}

TEST_CASE("grey is replicated and what has no alpha is opaque") {
    CHECK(converted<std::uint8_t>(Channels::grey, {7, 200}) ==
          Bytes{7, 7, 7, 255, 200, 200, 200, 255});
    CHECK(converted<std::uint8_t>(Channels::greyAlpha, {7, 9}) == Bytes{7, 7, 7, 9});
    CHECK(converted<std::uint8_t>(Channels::rgb, {1, 2, 3}) == Bytes{1, 2, 3, 255});
    CHECK(converted<std::uint8_t>(Channels::rgba, {1, 2, 3, 0}) == Bytes{1, 2, 3, 0});
}

TEST_CASE("every number of pixels is made opaque to the last, and nothing after them is read") {
    for (std::size_t count = 1; count <= 20; ++count) {
        CAPTURE(count);
        Bytes rgb;
        Bytes rgba;
        for (std::size_t i = 0; i < 3 * count; ++i) {
            rgb.push_back(static_cast<std::uint8_t>(17 * i));
            rgba.push_back(rgb.back());
            if (i % 3 == 2) rgba.push_back(255);
        }
        // In memory of its own size: a sanitizer watches what follows.
        rgb.shrink_to_fit();
        CHECK(converted<std::uint8_t>(Channels::rgb, rgb) == rgba);
    }
}

TEST_CASE("samples are kept where nothing is to be done to them") {
    const auto keepsSamples = [](SampleFormat format, const ColourStatements& statements = {}) {
        return ColourStep(statements, format).keepsSamples();
    };
    CHECK(keepsSamples({Channels::rgba}));
    CHECK(keepsSamples({Channels::rgba}, {srgbProfile}));
    CHECK_FALSE(keepsSamples({Channels::rgba}, {otherProfile}));
    CHECK_FALSE(keepsSamples({Channels::rgba, true}));
    CHECK_FALSE(keepsSamples({Channels::rgb}));
    CHECK_FALSE(keepsSamples({Channels::cmyk}));
}

TEST_CASE("inks of no known paper take each its part of white") {
    CHECK(converted<std::uint8_t>(Channels::cmyk, {0, 0, 0, 0, 255, 0, 0, 0, 0, 128, 255, 51}) ==
          Bytes{255, 255, 255, 255, 0, 255, 255, 255, 204, 102, 0, 255});
    CHECK(converted<std::uint16_t>(Channels::cmyk, {0, 32896, 65535, 13107}) ==
          Bytes{204, 102, 0, 255});
}

TEST_CASE("16 bits are rounded to the nearest of 8") {
    CHECK(converted<std::uint16_t>(Channels::grey, {0, 128, 129, 65406, 65407, 65535}) ==
          Bytes{0,   0,   0,   255, 0,   0,   0,   255, 1,   1,   1,   255,
                254, 254, 254, 255, 255, 255, 255, 255, 255, 255, 255, 255});
    CHECK(converted<std::uint16_t>(Channels::rgba, {257, 514, 771, 65535}) == Bytes{1, 2, 3, 255});
}
