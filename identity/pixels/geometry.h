#pragma once

#include <cstdint>

namespace sorvane::pixels {

/// Width and height in pixels.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

/// A pixel's place, counted from 0 at the left and at the top.
struct Position {
    std::uint32_t x = 0;
    std::uint32_t y = 0;

    friend bool operator==(const Position&, const Position&) = default;
};

} // namespace sorvane::pixels
