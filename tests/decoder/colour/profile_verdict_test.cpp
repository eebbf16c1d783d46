#include "decoder/colour/profile_verdict.h"

#include <doctest/doctest.h>

#include "tests/decoder/colour/profile_bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

ProfileVerdict rgb(const Bytes& profile) { return judgeProfile(profile, Channels::rgb); }
ProfileVerdict cmyk(const Bytes& profile) { return judgeProfile(profile, Channels::cmyk); }
ProfileVerdict grey(const Bytes& profile) { return judgeProfile(profile, Channels::greyAlpha); }

ProfileTags withTag(std::string_view name, const Bytes& tag) {
    ProfileTags tags = srgbTags();
    for (auto& entry : tags)
        if (entry.first == name) entry.second = tag;
    return tags;
}

} // namespace

TEST_CASE("matrix and curves of sRGB are its equivalent, up to rounding") {
    CHECK(rgb(rgbProfile(srgbCurve())) == ProfileVerdict::srgb);
    CHECK(grey(greyProfile(srgbCurve())) == ProfileVerdict::srgb);
    const Bytes rounded = xyzTag(0.4361, 0.2225, 0.0139);
    CHECK(rgb(profileOf(withTag("rXYZ", rounded), "RGB ")) == ProfileVerdict::srgb);
    const Bytes withOffsets =
        formulaTag(4, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0, 0});
    CHECK(rgb(rgbProfile(withOffsets)) == ProfileVerdict::srgb);
}

TEST_CASE("a curve counts as sRGB's up to half a step of 8 bits") {
    const auto curve = [](double gamma) {
        return formulaTag(3, {gamma, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045});
    };
    CHECK(rgb(rgbProfile(curve(2.405))) == ProfileVerdict::srgb);
    CHECK(rgb(rgbProfile(curve(2.42))) == ProfileVerdict::other);
}

TEST_CASE("another curve or another primary is another colour space") {
    for (const Bytes& curve :
         {curveTag({}), curveTag({0x0233}), curveTag({0, 65535}), curveTag({0}),
          formulaTag(0, {2.2}), formulaTag(1, {2.4, 1 / 1.055, 0.055 / 1.055}),
          formulaTag(2, {2.4, 1 / 1.055, 0.055 / 1.055, 0.01}),
          formulaTag(3, {2.4, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081}),
          formulaTag(3, {-9, 0, 0, 0, 0}), formulaTag(3, {9000, -5, 1, 1, 1})}) {
        CHECK(rgb(rgbProfile(curve)) == ProfileVerdict::other);
        CHECK(rgb(profileOf(withTag("gTRC", curve), "RGB ")) == ProfileVerdict::other);
        CHECK(grey(greyProfile(curve)) == ProfileVerdict::other);
    }
    for (const std::string_view name : {"rXYZ", "gXYZ", "bXYZ"})
        CHECK(rgb(profileOf(withTag(name, xyzTag(0.515, 0.241, -0.001)), "RGB ")) ==
              ProfileVerdict::other);
}

TEST_CASE("a table goes before the curves, and a curve of lightness is not one of light") {
    const auto withTable = [](std::string_view name) {
        ProfileTags tags = srgbTags();
        tags.emplace_back(name, Bytes(40));
        return profileOf(tags, "RGB ");
    };
    CHECK(rgb(withTable("A2B0")) == ProfileVerdict::other);
    CHECK(rgb(withTable("D2B0")) == ProfileVerdict::srgb);
    CHECK(grey(profileOf({{"kTRC", srgbCurve()}}, "GRAY", "Lab ")) == ProfileVerdict::other);
}

TEST_CASE("a profile for inks needs a table") {
    CHECK(cmyk(profileOf({{"A2B0", Bytes(40)}}, "CMYK", "Lab ", "prtr")) == ProfileVerdict::other);
    CHECK(cmyk(profileOf(srgbTags(), "CMYK", "Lab ", "prtr")) == ProfileVerdict::unusable);
    CHECK(cmyk(rgbProfile(srgbCurve())) == ProfileVerdict::unusable);
}

TEST_CASE("a profile for other channels or of no input is unusable") {
    CHECK(grey(rgbProfile(srgbCurve())) == ProfileVerdict::unusable);
    CHECK(rgb(greyProfile(srgbCurve())) == ProfileVerdict::unusable);
    CHECK(rgb(profileOf(srgbTags(), "CMYK")) == ProfileVerdict::unusable);
    CHECK(rgb(profileOf(srgbTags(), "RGB ", "XYZ ", "link")) == ProfileVerdict::unusable);
}

TEST_CASE("a damaged profile is unusable, wherever it ends") {
    const Bytes whole = rgbProfile(curveTag({0x0233}));
    CHECK(rgb(whole) == ProfileVerdict::other);
    for (std::size_t length = 0; length < whole.size(); ++length)
        CHECK(rgb(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))) ==
              ProfileVerdict::unusable);
    for (const Bytes& curve : {Bytes{}, bytes("curv"), bytes("text12345678"),
                               joined({bytes("curv"), Bytes(4), bigEndian32(0xffffffff)}),
                               joined({bytes("curv"), Bytes(4), bigEndian32(1)}),
                               formulaTag(5, {1, 1, 1, 1, 1, 1, 1}), formulaTag(3, {2.4})})
        CHECK(rgb(rgbProfile(curve)) == ProfileVerdict::unusable);
    CHECK(rgb(profileOf(withTag("rXYZ", bytes("XYY 123456789012")), "RGB ")) ==
          ProfileVerdict::unusable);
    CHECK(rgb(profileOf(withTag("rXYZ", bytes("XYZ 12345678")), "RGB ")) ==
          ProfileVerdict::unusable);
    CHECK(rgb(profileOf(ProfileTags(101, {"none", Bytes(4)}), "RGB ")) == ProfileVerdict::unusable);
    Bytes far = rgbProfile(srgbCurve());
    far[136] = 0xff;
    CHECK(rgb(far) == ProfileVerdict::unusable);
}
