#include "identity/pixels/conversion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

namespace sorvane::pixels {

namespace {

double srgbLight(double encoded) {
    if (encoded <= 0.04045) return encoded / 12.92;
    return std::pow((encoded + 0.055) / 1.055, 2.4);
}

/// sRGB's encoding of light, rounded to 8 bits. The steps of light are so small that where the
/// encoding is steepest one of them is a twentieth of a level.
class Encoder {
  public:
    Encoder() {
        std::size_t from = 0;
        for (std::size_t code = 0; code < 256; ++code) {
            const double end = srgbLight((static_cast<double>(code) + 0.5) / 255);
            const std::size_t to =
                code < 255 ? static_cast<std::size_t>(std::ceil(end * last)) : codes_.size();
            std::fill(codes_.begin() + static_cast<std::ptrdiff_t>(from),
                      codes_.begin() + static_cast<std::ptrdiff_t>(to),
                      static_cast<std::uint8_t>(code));
            from = to;
        }
    }

    std::uint8_t operator()(float light) const {
        // What is no number is not above 0 either.
        const float held = light > 0 ? std::min(light, 1.0F) : 0.0F;
        return codes_[static_cast<std::size_t>(held * last + 0.5F)];
    }
    void operator()(const Light& light, std::uint8_t* rgba) const {
        for (std::size_t channel = 0; channel < light.size(); ++channel)
            rgba[channel] = (*this)(light[channel]);
    }

  private:
    static constexpr float last = 65535;
    std::array<std::uint8_t, 65536> codes_;
};

/// What the engine makes of each value of one channel, while the colour channels beside it, if
/// there are any, are 0.
template<class Sample>
std::vector<Light> lightsOf(const ColourEngine& engine, Channels channels, std::size_t channel) {
    constexpr std::size_t values = std::size_t{1} << 8 * sizeof(Sample);
    const std::size_t width = channelCount(channels);
    std::vector<Sample> samples(values * width);
    for (std::size_t value = 0; value < values; ++value)
        samples[value * width + channel] = static_cast<Sample>(value);
    std::vector<Light> lights(values);
    engine.convert(reinterpret_cast<const std::uint8_t*>(samples.data()), values, lights.data());
    return lights;
}

template<class Sample>
Sample sampleAt(const std::uint8_t* place) {
    Sample sample;
    std::memcpy(&sample, place, sizeof sample);
    return sample;
}

/// One channel: the colours of all its values.
template<class Sample>
class GreyConversion final : public Conversion {
  public:
    GreyConversion(const ColourEngine& engine, Channels channels)
        : pixelBytes_(channelCount(channels) * sizeof(Sample)) {
        const Encoder encode;
        for (const Light& light : lightsOf<Sample>(engine, channels, 0))
            encode(light, colours_.emplace_back().data());
    }

    void convert(const std::uint8_t* samples, std::size_t count,
                 std::uint8_t* rgba) const override {
        for (std::size_t i = 0; i < count; ++i, samples += pixelBytes_, rgba += 4)
            std::ranges::copy(colours_[sampleAt<Sample>(samples)], rgba);
    }

  private:
    std::size_t pixelBytes_;
    std::vector<std::array<std::uint8_t, 3>> colours_;
};

/// Three channels that add up: the light of all values of each.
template<class Sample>
class SumConversion final : public Conversion {
  public:
    SumConversion(const ColourEngine& engine, Channels channels)
        : pixelBytes_(channelCount(channels) * sizeof(Sample)) {
        for (std::size_t channel = 0; channel < lights_.size(); ++channel)
            lights_[channel] = lightsOf<Sample>(engine, channels, channel);
        // The light of three zeros is in all three, and counts once.
        const Light zero = lights_[0][0];
        for (std::size_t channel = 1; channel < lights_.size(); ++channel)
            for (Light& light : lights_[channel])
                for (std::size_t i = 0; i < light.size(); ++i) light[i] -= zero[i];
    }

    bool isFinite() const {
        return std::ranges::all_of(lights_, [](const std::vector<Light>& lights) {
            return std::ranges::all_of(lights, [](const Light& light) {
                return std::ranges::all_of(light, [](float value) { return std::isfinite(value); });
            });
        });
    }

    void convert(const std::uint8_t* samples, std::size_t count,
                 std::uint8_t* rgba) const override {
        for (std::size_t i = 0; i < count; ++i, samples += pixelBytes_, rgba += 4) {
            const Light& red = lights_[0][sampleAt<Sample>(samples)];
            const Light& green = lights_[1][sampleAt<Sample>(samples + sizeof(Sample))];
            const Light& blue = lights_[2][sampleAt<Sample>(samples + 2 * sizeof(Sample))];
            for (std::size_t channel = 0; channel < 3; ++channel)
                rgba[channel] = encode_(red[channel] + green[channel] + blue[channel]);
        }
    }

  private:
    std::size_t pixelBytes_;
    std::array<std::vector<Light>, 3> lights_;
    Encoder encode_;
};

/// Every other colour space: the engine itself.
class EngineConversion final : public Conversion {
  public:
    explicit EngineConversion(ColourEngine engine) : engine_(std::move(engine)) {}

    void convert(const std::uint8_t* samples, std::size_t count,
                 std::uint8_t* rgba) const override {
        std::array<Light, blockPixels> lights;
        engine_.convert(samples, count, lights.data());
        for (std::size_t i = 0; i < count; ++i) encode_(lights[i], rgba + 4 * i);
    }

  private:
    ColourEngine engine_;
    Encoder encode_;
};

template<class Sample>
std::shared_ptr<const Conversion> makeFor(ColourEngine engine, Channels channels) {
    if (isGrey(channels)) return std::make_shared<GreyConversion<Sample>>(engine, channels);
    if (!engine.additive()) return std::make_shared<EngineConversion>(std::move(engine));
    auto sum = std::make_shared<SumConversion<Sample>>(engine, channels);
    return sum->isFinite() ? sum : nullptr;
}

} // namespace

std::shared_ptr<const Conversion> Conversion::make(ColourEngine engine, SampleFormat format) {
    if (format.sixteenBits) return makeFor<std::uint16_t>(std::move(engine), format.channels);
    return makeFor<std::uint8_t>(std::move(engine), format.channels);
}

} // namespace sorvane::pixels
