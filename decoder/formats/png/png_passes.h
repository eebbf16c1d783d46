#pragma once

#include <array>
#include <cstdint>

#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// The pixels of one pass over an interlaced picture: the first one, and the steps to the next
/// ones.
struct PngPass {
    Position first;
    std::uint32_t columnStep;
    std::uint32_t rowStep;

    /// How many of a picture's columns and rows the pass has; either may be none.
    constexpr Size sizeOf(Size picture) const {
        const auto count = [](std::uint32_t side, std::uint32_t begin, std::uint32_t step) {
            return side > begin ? (side - 1 - begin) / step + 1 : 0;
        };
        return {count(picture.width, first.x, columnStep), count(picture.height, first.y, rowStep)};
    }
};

inline constexpr std::array adam7 = {
    PngPass{{0, 0}, 8, 8}, PngPass{{4, 0}, 8, 8}, PngPass{{0, 4}, 4, 8}, PngPass{{2, 0}, 4, 4},
    PngPass{{0, 2}, 2, 4}, PngPass{{1, 0}, 2, 2}, PngPass{{0, 1}, 1, 2}};

} // namespace sorvane::decoder
