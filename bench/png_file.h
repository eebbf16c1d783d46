#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "bench/drawing.h"

namespace sorvane::bench {

enum class PngChannels { rgb, rgba };

/// The drawing as a PNG file, filtered and compressed as most programs do it, with an ICC profile
/// when one is given. Ends the program when the library refuses.
std::string pngFile(const Drawing& drawing, PngChannels channels,
                    std::span<const std::uint8_t> profile = {});

} // namespace sorvane::bench
