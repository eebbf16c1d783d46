#include "decoder/colour/profile_verdict.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "decoder/colour/srgb.h"
#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t classField = 12;
constexpr std::size_t channelsField = 16;
constexpr std::size_t connectionField = 20;
constexpr std::size_t magicField = 36;
constexpr std::size_t tagCountField = 128;
constexpr std::size_t tagLength = 12;

// Profiles have about 20 tags at most; colour engines reject one with more than 100.
constexpr std::uint32_t maxTags = 100;

// Published sRGB profiles differ from each other in the fourth digit; the nearest other colour
// space differs in the second.
constexpr double primaryTolerance = 0.001;
using srgb::Xyz;

double fixed16(std::uint32_t value) { return static_cast<std::int32_t>(value) / 65536.0; }

class Profile {
  public:
    explicit Profile(Bytes bytes) : bytes_(bytes), numbers_(bytes, ByteOrder::big) {}

    std::uint32_t field(std::size_t offset) const { return numbers_.u32(offset).value_or(0); }

    /// The tag's bytes; nothing when it is missing or not wholly inside the profile.
    std::optional<Bytes> tag(std::uint32_t name) const {
        for (std::size_t i = 0; i < field(tagCountField); ++i) {
            const std::size_t entry = tagCountField + 4 + i * tagLength;
            if (field(entry) != name) continue;
            const std::size_t offset = field(entry + 4);
            const std::size_t length = field(entry + 8);
            if (offset > bytes_.size() || length > bytes_.size() - offset) return std::nullopt;
            return bytes_.subspan(offset, length);
        }
        return std::nullopt;
    }

  private:
    Bytes bytes_;
    NumberReader numbers_;
};

std::optional<Xyz> readXyz(std::optional<Bytes> tag) {
    if (!tag) return std::nullopt;
    const NumberReader numbers(*tag, ByteOrder::big);
    Xyz result;
    if (numbers.u32(0) != fourLetterCode("XYZ ")) return std::nullopt;
    for (std::size_t i = 0; i < result.size(); ++i) {
        const auto value = numbers.u32(8 + 4 * i);
        if (!value) return std::nullopt;
        result[i] = fixed16(*value);
    }
    return result;
}

/// A tone curve: the light, 0 to 1, that an encoded value means.
class Curve {
  public:
    static std::optional<Curve> read(std::optional<Bytes> tag) {
        if (!tag) return std::nullopt;
        const NumberReader numbers(*tag, ByteOrder::big);
        if (numbers.u32(0) == fourLetterCode("curv")) return readSampled(*tag, numbers);
        if (numbers.u32(0) == fourLetterCode("para")) return readFormula(numbers);
        return std::nullopt;
    }

    double light(double value) const {
        return samples_.empty() ? formulaLight(value) : sampledLight(value);
    }

  private:
    static constexpr std::size_t entriesField = 12;
    static constexpr std::array<std::size_t, 5> parameterCounts = {1, 3, 4, 5, 7};

    static std::optional<Curve> readSampled(Bytes tag, const NumberReader& numbers) {
        const auto count = numbers.u32(8);
        if (!count || *count > (tag.size() - entriesField) / 2) return std::nullopt;
        Curve curve;
        if (*count == 1)
            curve.parameters_[0] = *numbers.u16(entriesField) / 256.0;
        else
            curve.samples_ = tag.subspan(entriesField, std::size_t{2} * *count);
        return curve;
    }

    static std::optional<Curve> readFormula(const NumberReader& numbers) {
        const auto kind = numbers.u16(8);
        if (!kind || *kind >= parameterCounts.size()) return std::nullopt;
        Curve curve;
        curve.kind_ = *kind;
        for (std::size_t i = 0; i < parameterCounts[*kind]; ++i) {
            const auto value = numbers.u32(entriesField + 4 * i);
            if (!value) return std::nullopt;
            curve.parameters_[i] = fixed16(*value);
        }
        return curve;
    }

    double sampledLight(double value) const {
        const NumberReader numbers(samples_, ByteOrder::big);
        const std::size_t last = samples_.size() / 2 - 1;
        const double position = value * static_cast<double>(last);
        const std::size_t below = std::min(static_cast<std::size_t>(position), last);
        const std::size_t above = std::min(below + 1, last);
        const double low = numbers.u16(2 * below).value_or(0);
        const double high = numbers.u16(2 * above).value_or(0);
        return (low + (high - low) * (position - static_cast<double>(below))) / 65535.0;
    }

    double formulaLight(double value) const {
        const auto [g, a, b, c, d, e, f] = parameters_;
        const auto power = [gamma = g](double base) {
            return std::pow(std::max(base, 0.0), gamma);
        };
        switch (kind_) {
        case 0:
            return power(value);
        case 1:
            return a * value + b >= 0 ? power(a * value + b) : 0;
        case 2:
            return a * value + b >= 0 ? power(a * value + b) + c : c;
        case 3:
            return value >= d ? power(a * value + b) : c * value;
        default:
            return value >= d ? power(a * value + b) + e : c * value + f;
        }
    }

    // Without samples the curve is the formula of its kind, at first the straight line.
    std::size_t kind_ = 0;
    std::array<double, 7> parameters_ = {1, 0, 0, 0, 0, 0, 0};
    Bytes samples_;
};

bool near(const Xyz& one, const Xyz& other) {
    return std::equal(one.begin(), one.end(), other.begin(),
                      [](double a, double b) { return std::abs(a - b) <= primaryTolerance; });
}

bool isSrgbCurve(const Curve& curve) {
    for (int code = 0; code < 256; ++code) {
        const double back = 255 * srgb::encoded(curve.light(code / 255.0));
        if (!(std::abs(back - code) < 0.5)) return false;
    }
    return true;
}

std::uint32_t signatureOf(Channels channels) {
    if (channels == Channels::cmyk) return fourLetterCode("CMYK");
    return isGrey(channels) ? fourLetterCode("GRAY") : fourLetterCode("RGB ");
}

bool isWellFormed(const Profile& profile, Channels channels) {
    constexpr std::array classes = {fourLetterCode("mntr"), fourLetterCode("scnr"),
                                    fourLetterCode("prtr"), fourLetterCode("spac")};
    return profile.field(magicField) == fourLetterCode("acsp") &&
           std::ranges::find(classes, profile.field(classField)) != classes.end() &&
           profile.field(channelsField) == signatureOf(channels) &&
           profile.field(tagCountField) <= maxTags;
}

ProfileVerdict judgeGrey(const Profile& profile) {
    const auto curve = Curve::read(profile.tag(fourLetterCode("kTRC")));
    if (!curve) return ProfileVerdict::unusable;
    // With the other connection space, Lab, the curve means lightness and not light.
    const bool light = profile.field(connectionField) == fourLetterCode("XYZ ");
    return light && isSrgbCurve(*curve) ? ProfileVerdict::srgb : ProfileVerdict::other;
}

ProfileVerdict judgeRgb(const Profile& profile) {
    const auto red = readXyz(profile.tag(fourLetterCode("rXYZ")));
    const auto green = readXyz(profile.tag(fourLetterCode("gXYZ")));
    const auto blue = readXyz(profile.tag(fourLetterCode("bXYZ")));
    const auto redCurve = Curve::read(profile.tag(fourLetterCode("rTRC")));
    const auto greenCurve = Curve::read(profile.tag(fourLetterCode("gTRC")));
    const auto blueCurve = Curve::read(profile.tag(fourLetterCode("bTRC")));
    if (!red || !green || !blue || !redCurve || !greenCurve || !blueCurve)
        return ProfileVerdict::unusable;
    const bool primaries =
        near(*red, srgb::red) && near(*green, srgb::green) && near(*blue, srgb::blue);
    const bool curves =
        isSrgbCurve(*redCurve) && isSrgbCurve(*greenCurve) && isSrgbCurve(*blueCurve);
    return primaries && curves ? ProfileVerdict::srgb : ProfileVerdict::other;
}

} // namespace

ProfileVerdict judgeProfile(std::span<const std::uint8_t> bytes, Channels channels) {
    const Profile profile(bytes);
    if (!isWellFormed(profile, channels)) return ProfileVerdict::unusable;
    // A table has precedence over matrix and curves, even if those are sRGB's.
    if (profile.tag(fourLetterCode("A2B0"))) return ProfileVerdict::other;
    if (channels == Channels::cmyk) return ProfileVerdict::unusable;
    return isGrey(channels) ? judgeGrey(profile) : judgeRgb(profile);
}

} // namespace sorvane::decoder
