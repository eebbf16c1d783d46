#include "decoder/colour/colour_step.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "decoder/colour/profile_verdict.h"
#include "decoder/colour/srgb.h"

namespace sorvane::decoder {

namespace {

// Gamma and chromaticities are rounded by whoever writes them: the gamma of 1/2.2, for one, is
// written as 45450 to 45500.
constexpr std::int64_t tolerance = 100;

bool near(std::int64_t one, std::int64_t other) { return std::abs(one - other) <= tolerance; }

bool isSrgb(const GammaAndPrimaries& statement) {
    return near(statement.gamma, srgb::gamma) &&
           std::ranges::equal(statement.chromaticities, srgb::chromaticities, near);
}

// Null: the samples stay as they are.
using ConversionPtr = std::shared_ptr<Conversion>;

// The conversion that one statement asks for; nothing when it cannot be used.
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
        return conversionBy(ColourEngine::fromProfile(profile.bytes, format));
    }

    std::optional<ConversionPtr> operator()(const GammaAndPrimaries& statement) const {
        if (statement.gamma == 0) return std::nullopt;
        if (isSrgb(statement)) return ConversionPtr();
        return conversionBy(ColourEngine::fromGamma(statement, format));
    }

    std::optional<ConversionPtr> conversionBy(std::optional<ColourEngine> engine) const {
        if (!engine) return std::nullopt;
        ConversionPtr conversion = Conversion::make(std::move(*engine), format);
        return conversion ? std::optional(std::move(conversion)) : std::nullopt;
    }
};

ConversionPtr conversionFor(const ColourStatements& statements, SampleFormat format) {
    const StatementResolver resolve{format};
    for (const ColourStatement& statement : statements)
        if (auto conversion = std::visit(resolve, statement)) return std::move(*conversion);
    return nullptr;
}

// Samples of 16 bits, rounded to 8: for all values the same as (value * 255 + 32767) / 65535.
void narrow(const std::uint8_t* samples, std::size_t count, std::uint8_t* to) {
    for (std::size_t i = 0; i < count; ++i) {
        std::uint16_t value = 0;
        std::memcpy(&value, samples + sizeof value * i, sizeof value);
        to[i] = static_cast<std::uint8_t>((value * 255U + 32895U) >> 16);
    }
}

// Each ink takes its own part of the light that black leaves of white paper.
void convertInks(const std::uint8_t* inks, std::size_t count, std::uint8_t* rgba) {
    for (std::size_t i = 0; i < count; ++i, inks += 4, rgba += 4) {
        const unsigned paper = 255U - inks[3];
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] = static_cast<std::uint8_t>((paper * (255U - inks[channel]) + 127) / 255);
        rgba[3] = 255;
    }
}

using Rgba = std::array<std::uint8_t, 4>;

// Grey, and alpha where a pixel has two samples.
template<std::size_t width>
void convertGrey(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) {
    constexpr auto white = std::bit_cast<std::uint32_t>(Rgba{1, 1, 1, 0});
    constexpr auto opaque = std::bit_cast<std::uint32_t>(Rgba{0, 0, 0, 1});
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* const pixel = samples + width * i;
        const std::uint32_t alpha = width == 1 ? 255 : pixel[width - 1];
        const std::uint32_t converted = white * pixel[0] + opaque * alpha;
        std::memcpy(rgba + 4 * i, &converted, sizeof converted);
    }
}

// Loads four bytes a pixel, the fourth being the next pixel's, and replaces that by alpha. Of the
// last pixels, after which nothing need follow, three bytes are copied.
void convertRgb(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) {
    // The compilers compute them as one vector.
    constexpr std::size_t atOnce = 4;
    constexpr auto alpha = std::bit_cast<std::uint32_t>(Rgba{0, 0, 0, 255});
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

void convertBytes(Channels channels, const std::uint8_t* samples, std::size_t count,
                  std::uint8_t* rgba) {
    switch (channels) {
    case Channels::grey:
        return convertGrey<1>(samples, count, rgba);
    case Channels::greyAlpha:
        return convertGrey<2>(samples, count, rgba);
    case Channels::rgb:
        return convertRgb(samples, count, rgba);
    case Channels::rgba:
        std::memcpy(rgba, samples, 4 * count);
        return;
    case Channels::cmyk:
        return convertInks(samples, count, rgba);
    }
}

} // namespace

ColourStep::ColourStep(const ColourStatements& statements, SampleFormat format)
    : format_(format), conversion_(conversionFor(statements, format)) {}

bool ColourStep::keepsSamples() const {
    return format_.channels == Channels::rgba && !format_.sixteenBits && !conversion_;
}

void ColourStep::convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const {
    if (format_.sixteenBits) {
        std::array<std::uint8_t, 4 * blockPixels> bytes;
        narrow(samples, channelCount(format_.channels) * count, bytes.data());
        convertBytes(format_.channels, bytes.data(), count, rgba);
    } else {
        convertBytes(format_.channels, samples, count, rgba);
    }
    // Replaces the colours and leaves alpha.
    if (conversion_) conversion_->convert(samples, count, rgba);
}

} // namespace sorvane::decoder
