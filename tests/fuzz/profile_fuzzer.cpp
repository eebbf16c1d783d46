// Profiles under libFuzzer: the first byte chooses the picture's channels and depth, the others are
// the profile, through which a few colours are converted.

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/colour/colour_step.h"

using namespace sorvane::decoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::array kinds = {Channels::grey, Channels::greyAlpha, Channels::rgb,
                                  Channels::rgba, Channels::cmyk};
    constexpr std::size_t pixels = 64;
    if (size == 0) return 0;
    const SampleFormat format{kinds[data[0] / 2 % kinds.size()], data[0] % 2 != 0};
    const ColourStep step({IccProfile{{data + 1, data + size}}}, format);
    std::array<std::uint8_t, 8 * pixels> samples{};
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint8_t>(i * 77);
    std::array<std::uint8_t, 4 * pixels> rgba;
    step.convert(samples.data(), pixels, rgba.data());
    return 0;
}
