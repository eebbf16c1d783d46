#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoder/colour/colour_engine.h"

namespace sorvane::decoder {

/// Encodes light as sRGB, rounded to 8 bits, by a table of 65536 steps: where the curve is
/// steepest, a step is a twentieth of a level.
class SrgbEncoder {
  public:
    SrgbEncoder();

    /// Writes red, green and blue. Light is clamped to 0 and 1; NaN counts as 0.
    void operator()(Light light, std::uint8_t* rgba) const {
        // Every comparison with NaN is false.
        light = light > none_ ? light : none_;
        light = light < full_ ? light : full_;
        const auto steps = __builtin_convertvector(light * last + 0.5F, Steps);
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] = codes_[static_cast<std::uint32_t>(steps[channel])];
    }

  private:
    using Steps [[gnu::vector_size(16)]] = std::int32_t;
    static constexpr float last = 65535;
    // Members, since GCC makes one instruction of a bound only where it does not know the bound.
    Light none_ = {0, 0, 0};
    Light full_ = {1, 1, 1};
    std::array<std::uint8_t, 65536> codes_;
};

} // namespace sorvane::decoder
