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
Sample sampleAt(const std::uint8_t* bytes) {
    Sample sample;
    std::memcpy(&sample, bytes, sizeof sample);
    return sample;
}

/// The engine's light for the values of each colour channel, the other channels being 0. It is
/// asked for 256 values at once, when a pixel first needs one of them: few pictures use all 65,536
/// of 16 bits, and computing these takes longer than decoding a small picture.
template<class Sample>
class ChannelLights {
  public:
    static constexpr std::size_t pieceLength = 256;
    static constexpr std::size_t pieces = std::size_t{1} << 8 * (sizeof(Sample) - 1);
    static constexpr std::size_t values = pieceLength * pieces;
    using Piece = std::array<Light, pieceLength>;

    ChannelLights(ColourEngine engine, SampleFormat format)
        : engine_(std::move(engine)),
          pixelBytes_(format.pixelBytes()),
          colours_(isGrey(format.channels) ? 1 : 3),
          left_(colours_ * pieces) {}

    std::size_t colours() const { return colours_; }

    /// Calls `take(channel, piece, lights)` for each piece that these pixels need and no pixels
    /// before them have needed.
    template<class Take>
    void askFor(const std::uint8_t* samples, std::size_t count, const Take& take) {
        if (left_ == 0) return;
        for (std::size_t i = 0; i < count; ++i, samples += pixelBytes_)
            for (std::size_t channel = 0; channel < colours_; ++channel) {
                const auto value = sampleAt<Sample>(samples + channel * sizeof(Sample));
                const std::size_t piece = value / pieceLength;
                bool& asked = asked_[channel][piece];
                if (std::exchange(asked, true)) continue;
                --left_;
                take(channel, piece, lights(channel, piece * pieceLength, 1));
            }
    }

    /// The light of every channel at 256 values that are spread over all of them.
    std::vector<Piece> spread() const {
        std::vector<Piece> result;
        for (std::size_t channel = 0; channel < colours_; ++channel)
            result.push_back(lights(channel, 0, (values - 1) / (pieceLength - 1)));
        return result;
    }

  private:
    Piece lights(std::size_t channel, std::size_t first, std::size_t step) const {
        const std::size_t width = pixelBytes_ / sizeof(Sample);
        std::vector<Sample> samples(pieceLength * width);
        for (std::size_t i = 0; i < pieceLength; ++i)
            samples[i * width + channel] = static_cast<Sample>(first + i * step);
        Piece piece;
        engine_.convert(reinterpret_cast<const std::uint8_t*>(samples.data()), pieceLength,
                        piece.data());
        return piece;
    }

    ColourEngine engine_;
    std::size_t pixelBytes_;
    std::size_t colours_;
    std::array<std::array<bool, pieces>, 3> asked_{};
    std::size_t left_;
};

/// One channel: a table of its colours.
template<class Sample>
class GreyConversion final : public Conversion {
  public:
    GreyConversion(ColourEngine engine, SampleFormat format)
        : pixelBytes_(format.pixelBytes()),
          lights_(std::move(engine), format),
          colours_(ChannelLights<Sample>::values) {}

    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) override {
        lights_.askFor(samples, count, [this](std::size_t, std::size_t piece, const auto& lights) {
            for (std::size_t i = 0; i < lights.size(); ++i)
                encode_(lights[i], colours_[piece * lights.size() + i].data());
        });
        for (std::size_t i = 0; i < count; ++i, samples += pixelBytes_, rgba += 4)
            std::ranges::copy(colours_[sampleAt<Sample>(samples)], rgba);
    }

  private:
    std::size_t pixelBytes_;
    ChannelLights<Sample> lights_;
    SrgbEncoder encode_;
    std::vector<std::array<std::uint8_t, 3>> colours_;
};

/// Copies the colour of pixels that equal the one before, since screenshots have long runs of one
/// colour. Comparing with older pixels as well would cost photographs more than it spares
/// screenshots.
class ConversionByRuns : public Conversion {
  public:
    explicit ConversionByRuns(SampleFormat format) : pixelBytes_(format.pixelBytes()) {}

    void convert(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) final {
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
                             std::uint8_t* rgba) = 0;

    std::size_t pixelBytes_;
};

/// Three additive channels: a table of light for each.
template<class Sample>
class SumConversion final : public ConversionByRuns {
  public:
    SumConversion(ColourEngine engine, SampleFormat format)
        : ConversionByRuns(format),
          source_(std::move(engine), format),
          lights_(std::make_unique_for_overwrite<Light[]>(source_.colours() * values)) {
        const auto spread = source_.spread();
        black_ = spread[0][0];
        finite_ = std::ranges::all_of(spread, [](const auto& lights) {
            return std::ranges::all_of(lights, [](const Light& light) {
                return std::isfinite(light[0]) && std::isfinite(light[1]) &&
                       std::isfinite(light[2]);
            });
        });
    }

    bool isFinite() const { return finite_; }

  private:
    static constexpr std::size_t values = ChannelLights<Sample>::values;

    void convertEach(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) override {
        source_.askFor(samples, count,
                       [this](std::size_t channel, std::size_t piece, const auto& lights) {
                           // The light of three zeros is in all three tables, and counts once.
                           const Light once = channel == 0 ? Light{} : black_;
                           Light* to = &lights_[channel * values + piece * lights.size()];
                           for (const Light& light : lights) *to++ = light - once;
                       });
        const Light* const red = lights_.get();
        const Light* const green = red + values;
        const Light* const blue = green + values;
        const std::size_t step = pixelBytes();
        for (std::size_t i = 0; i < count; ++i, samples += step, rgba += 4)
            encode_(red[sampleAt<Sample>(samples)] +
                        green[sampleAt<Sample>(samples + sizeof(Sample))] +
                        blue[sampleAt<Sample>(samples + 2 * sizeof(Sample))],
                    rgba);
    }

    ChannelLights<Sample> source_;
    // Megabytes: not touched where no pixel needs them.
    std::unique_ptr<Light[]> lights_;
    Light black_{};
    bool finite_ = false;
    SrgbEncoder encode_;
};

/// Every other colour space: the engine, pixel by pixel.
class EngineConversion final : public ConversionByRuns {
  public:
    EngineConversion(ColourEngine engine, SampleFormat format)
        : ConversionByRuns(format), engine_(std::move(engine)) {}

  private:
    void convertEach(const std::uint8_t* samples, std::size_t count, std::uint8_t* rgba) override {
        std::array<Light, blockPixels> lights;
        engine_.convert(samples, count, lights.data());
        for (std::size_t i = 0; i < count; ++i) encode_(lights[i], rgba + 4 * i);
    }

    ColourEngine engine_;
    SrgbEncoder encode_;
};

template<class Sample>
std::unique_ptr<Conversion> makeFor(ColourEngine engine, SampleFormat format) {
    if (isGrey(format.channels))
        return std::make_unique<GreyConversion<Sample>>(std::move(engine), format);
    if (!engine.additive()) return std::make_unique<EngineConversion>(std::move(engine), format);
    auto sum = std::make_unique<SumConversion<Sample>>(std::move(engine), format);
    if (!sum->isFinite()) return nullptr;
    return sum;
}

} // namespace

std::unique_ptr<Conversion> Conversion::make(ColourEngine engine, SampleFormat format) {
    if (format.sixteenBits) return makeFor<std::uint16_t>(std::move(engine), format);
    return makeFor<std::uint8_t>(std::move(engine), format);
}

} // namespace sorvane::decoder
