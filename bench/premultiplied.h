#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::bench {

/// Brings straight RGBA to premultiplied, where it is not fully opaque.
inline void premultiply(std::uint8_t* rgba, std::size_t count) {
    for (; count > 0; --count, rgba += 4) {
        if (rgba[3] == 255) continue;
        for (int channel = 0; channel < 3; ++channel)
            rgba[channel] = static_cast<std::uint8_t>((rgba[channel] * rgba[3] + 127) / 255);
    }
}

} // namespace sorvane::bench
