#include "decoder/colour/colour_step.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "decoder/colour/profile_verdict.h"

namespace sorvane::decoder {

namespace {

// What files write that mean sRGB, in units of 1/100000. Writers round the last digits each in
// their own way, and so the gamma of 1/2.2 is one of 45450 to 45500.
constexpr std::int64_t rounding = 100;
constexpr std::int64_t srgbGamma = 45'455;
constexpr std::array<std::int64_t, 8> srgbChromaticities = {31'270, 32'900, 64'000, 33'000,
                                                            30'000, 60'000, 15'000, 6'000};

bool near(std::int64_t one, std::int64_t other) { return std::abs(one - other) <= rounding; }

// The switch for untagged grey. Without a gamma it is replicated as it stands, which is sRGB's
// grey; a platform may read it through an encoding gamma of its own, in the units above.
constexpr std::optional<std::uint32_t> untaggedGreyGamma;

// How the samples come to sRGB; null: they stay as they are.
using ConversionPtr = std::shared_ptr<const Conversion>;

// The way that one statement means for the picture; nothing when it cannot be used.
struct StatementResolver {
    SampleFormat format;

    std::optional<ConversionPtr> operator()(const DeclaredSrgb&) const { return ConversionPtr(); }

    std::optional<ConversionPtr> operator()(const IccProfile& profile) const {
        switch (judgeProfile(profile.bytes, format.channels)) {
        case ProfileVerdict::unusable:
            return std::nullopt;
        case ProfileVerdict::srgb:
            return ConversionPtr();
        case ProfileVerdict::other:
            break;
        }
        return through(ColourEngine::fromProfile(profile.bytes, format));
    }

    std::optional<ConversionPtr> operator()(const GammaAndPrimaries& said) const {
        if (said.gamma == 0) return std::nullopt;
        bool srgb = near(said.gamma, srgbGamma);
        for (std::size_t i = 0; i < srgbChromaticities.size(); ++i)
            srgb = srgb && near(said.chromaticities[i], srgbChromaticities[i]);
        if (srgb) return ConversionPtr();
        return through(ColourEngine::fromGamma(said, format));
    }

    std::optional<ConversionPtr> through(std::optional<ColourEngine> engine) const {
        if (!engine) return std::nullopt;
        ConversionPtr way = Conversion::make(std::move(*engine), format);
        return way ? std::optional(std::move(way)) : std::nullopt;
    }
};

ConversionPtr conversionFor(const ColourStatements& statements, SampleFormat format) {
    const StatementResolver judge{format};
    for (const ColourStatement& statement : statements)
        if (auto way = std::visit(judge, statement)) return std::move(*way);
    if (isGrey(format.channels) && untaggedGreyGamma)
        if (auto way = judge(GammaAndPrimaries{*untaggedGreyGamma, {}})) return std::move(*way);
    return nullptr;
}

std::uint8_t toByte(std::uint8_t value) { return value; }
std::uint8_t toByte(std::uint16_t value) {
    return static_cast<std::uint8_t>((value * 255U + 32767U) / 65535U);
}

// Inks on white paper, each of them taking its own part of what the black leaves.
template<class Sample>
void convertInks(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) {
    std::array<Sample, 4> inks;
    for (std::size_t i = 0; i < count; ++i, samples += sizeof inks, rgba += 4) {
        std::memcpy(inks.data(), samples, sizeof inks);
        const unsigned paper = 255U - toByte(inks[3]);
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] =
                static_cast<std::uint8_t>((paper * (255U - toByte(inks[channel])) + 127) / 255);
        rgba[3] = 255;
    }
}

template<class Sample, Channels channels>
void convertRow(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) {
    constexpr std::size_t width = channelCount(channels);
    constexpr std::size_t colours = isGrey(channels) ? 1 : 3;
    std::array<Sample, width> pixel;
    for (std::size_t i = 0; i < count; ++i, samples += sizeof pixel, rgba += 4) {
        std::memcpy(pixel.data(), samples, sizeof pixel);
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] = toByte(pixel[channel % colours]);
        rgba[3] = hasAlpha(channels) ? toByte(pixel[width - 1]) : 255;
    }
}

// Reads a fourth byte beside every three and puts alpha in its place, but for the last pixels,
// behind which the row may end.
template<>
void convertRow<std::uint8_t, Channels::rgb>(const std::uint8_t* samples, std::size_t count,
                                             std::uint8_t* rgba) {
    // The compilers make one vector of them.
    constexpr std::size_t atOnce = 4;
    constexpr std::array<std::uint8_t, 4> opaqueBlack = {0, 0, 0, 255};
    constexpr auto alpha = std::bit_cast<std::uint32_t>(opaqueBlack);
    std::array<std::uint32_t, atOnce> pixels;
    for (; count > atOnce; count -= atOnce, samples += 3 * atOnce, rgba += sizeof pixels) {
        for (std::size_t i = 0; i < atOnce; ++i) {
            std::memcpy(&pixels[i], samples + 3 * i, sizeof pixels[i]);
            pixels[i] |= alpha;
        }
        std::memcpy(rgba, pixels.data(), sizeof pixels);
    }
    for (; count > 0; --count, samples += 3, rgba += 4) {
        std::memcpy(rgba, samples, 3);
        rgba[3] = 255;
    }
}

template<>
void convertRow<std::uint8_t, Channels::rgba>(const std::uint8_t* samples, std::size_t count,
                                              std::uint8_t* rgba) {
    std::memcpy(rgba, samples, 4 * count);
}

template<class Sample>
void convertRow(Channels channels, const std::uint8_t* samples, std::size_t count,
                std::uint8_t* rgba) {
    switch (channels) {
    case Channels::grey:
        return convertRow<Sample, Channels::grey>(samples, count, rgba);
    case Channels::greyAlpha:
        return convertRow<Sample, Channels::greyAlpha>(samples, count, rgba);
    case Channels::rgb:
        return convertRow<Sample, Channels::rgb>(samples, count, rgba);
    case Channels::rgba:
        return convertRow<Sample, Channels::rgba>(samples, count, rgba);
    case Channels::cmyk:
        return convertInks<Sample>(samples, count, rgba);
    }
}

} // namespace

ColourStep::ColourStep(const ColourStatements& statements, SampleFormat format)
    : format_(format), conversion_(conversionFor(statements, format)) {}

bool ColourStep::keepsSamples() const {
    return format_.channels == Channels::rgba && !format_.sixteenBits && !conversion_;
}

void ColourStep::convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const {
    if (format_.sixteenBits)
        convertRow<std::uint16_t>(format_.channels, samples, count, rgba);
    else
        convertRow<std::uint8_t>(format_.channels, samples, count, rgba);
    // Alpha stands now; colours of another space take the place of the ones beside it.
    if (conversion_) conversion_->convert(samples, count, rgba);
}

} // namespace sorvane::decoder
