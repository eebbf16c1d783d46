#pragma once

#include <cstdint>

#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// Width and height in pixels.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

constexpr bool withinBudget(Size size) { return withinPixelBudget(size.width, size.height); }

/// A pixel's position, counted from 0 at the left and at the top.
struct Position {
    std::uint32_t x = 0;
    std::uint32_t y = 0;

    friend bool operator==(const Position&, const Position&) = default;
};

} // namespace sorvane::decoder
