#include "decoder/colour/conversion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "decoder/colour/srgb_encoder.h"

namespace sorvane::decoder {

namespace {

template<class Sample>
constexpr std::size_t valuesOf = std::size_t{1} << 8 * sizeof(Sample);

/// The engine's light for every value of each colour channel, the other channels being 0.
template<class Sample>
std::vector<Light> lightsOf(const ColourEngine& engine, Channels channels) {
    constexpr std::size_t values = valuesOf<Sample>;
    const std::size_t width = channelCount(channels);
    const std::size_t colours = isGrey(channels) ? 1 : 3;
    std::vector<Light> lights(colours * values);
    for (std::size_t channel = 0; channel < colours; ++channel) {
        std::vector<Sample> samples(values * width);
        for (std::size_t value = 0; value < values; ++value)
            samples[value * width + channel] = static_cast<Sample>(value);
        engine.convert(reinterpret_cast<const std::uint8_t*>(samples.data()), values,
                       &lights[channel * values]);
    }
    return lights;
}

template<class Sample>
Sample sampleAt(const std::uint8_t* bytes) {
    Sample sample;
    std::memcpy(&sample, bytes, sizeof sample);
    return sample;
}

/// One channel: a table of its colours.
template<class Sample>
class GreyConversion final : public Conversion {
  public:
    GreyConversion(const ColourEngine& engine, SampleFormat format)
        : pixelBytes_(format.pixelBytes()) {
        const SrgbEncoder encode;
        for (const Light& light : lightsOf<Sample>(engine, format.channels))
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

/// Copies the colour of pixels that equal the one before, since screenshots have long runs of one
/// colour. Comparing with older pixels as well would cost photographs more than it spares
/// screenshots.
class ConversionByRuns : public Conversion {
  public:
    explicit ConversionByRuns(SampleFormat format) : pixelBytes_(format.pixelBytes()) {}

    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) const final {
        constexpr std::size_t runLength = 16;
        std::size_t done = 0;
        const auto convertUpTo = [&](std::size_t end) {
            if (done < end) convertEach(samples + done * pixelBytes_, end - done, rgba + 4 * done);
        };
        for (std::size_t next = 1; next + runLength <= count; next += runLength) {
            const std::uint8_t* const pixel = samples + next * pixelBytes_;
            if (std::memcmp(pixel, pixel - pixelBytes_, runLength * pixelBytes_) != 0) continue;
            convertUpTo(next);
            done = next + runLength;
            for (std::size_t i = next; i < done; ++i)
                std::memcpy(rgba + 4 * i, rgba + 4 * (next - 1), 4);
        }
        convertUpTo(count);
    }

  protected:
    std::size_t pixelBytes() const { return pixelBytes_; }

  private:
    virtual void convertEach(const std::uint8_t* samples, std::size_t count,
                             std::uint8_t* rgba) const = 0;

    std::size_t pixelBytes_;
};

/// Three additive channels: a table of light for each.
template<class Sample>
class SumConversion final : public ConversionByRuns {
  public:
    SumConversion(const ColourEngine& engine, SampleFormat format)
        : ConversionByRuns(format), lights_(lightsOf<Sample>(engine, format.channels)) {
        // The light of three zeros is in all three tables, and counts once.
        for (std::size_t i = values; i < lights_.size(); ++i) lights_[i] -= lights_[0];
    }

    bool isFinite() const {
        return std::ranges::all_of(lights_, [](const Light& light) {
            return std::isfinite(light[0]) && std::isfinite(light[1]) && std::isfinite(light[2]);
        });
    }

  private:
    static constexpr std::size_t values = valuesOf<Sample>;

    void convertEach(const std::uint8_t* samples, std::size_t count,
                     std::uint8_t* rgba) const override {
        const Light* const red = lights_.data();
        const Light* const green = red + values;
        const Light* const blue = green + values;
        const std::size_t step = pixelBytes();
        for (std::size_t i = 0; i < count; ++i, samples += step, rgba += 4)
            encode_(red[sampleAt<Sample>(samples)] +
                        green[sampleAt<Sample>(samples + sizeof(Sample))] +
                        blue[sampleAt<Sample>(samples + 2 * sizeof(Sample))],
                    rgba);
    }

    std::vector<Light> lights_;
    SrgbEncoder encode_;
};

/// Every other colour space: the engine, pixel by pixel.
class EngineConversion final : public ConversionByRuns {
  public:
    EngineConversion(ColourEngine engine, SampleFormat format)
        : ConversionByRuns(format), engine_(std::move(engine)) {}

  private:
    void convertEach(const std::uint8_t* samples, std::size_t count,
                     std::uint8_t* rgba) const override {
        std::array<Light, blockPixels> lights;
        engine_.convert(samples, count, lights.data());
        for (std::size_t i = 0; i < count; ++i) encode_(lights[i], rgba + 4 * i);
    }

    ColourEngine engine_;
    SrgbEncoder encode_;
};

template<class Sample>
std::shared_ptr<const Conversion> makeFor(ColourEngine engine, SampleFormat format) {
    if (isGrey(format.channels)) return std::make_shared<GreyConversion<Sample>>(engine, format);
    if (!engine.additive()) return std::make_shared<EngineConversion>(std::move(engine), format);
    auto sum = std::make_shared<SumConversion<Sample>>(engine, format);
    return sum->isFinite() ? sum : nullptr;
}

} // namespace

std::shared_ptr<const Conversion> Conversion::make(ColourEngine engine, SampleFormat format) {
    if (format.sixteenBits) return makeFor<std::uint16_t>(std::move(engine), format);
    return makeFor<std::uint8_t>(std::move(engine), format);
}

} // namespace sorvane::decoder
