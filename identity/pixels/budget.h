#pragma once

#include <cstddef>
#include <cstdint>

#include "identity/pixel_budget.h"
#include "identity/pixels/geometry.h"

namespace sorvane::pixels {

/// The largest frame that is ever taken: the whole budget as RGBA, 8 bits a channel.
inline constexpr std::size_t frameLimit = std::size_t{4} * pixelBudget;

/// True when the picture has a pixel at all and not more of them than the budget. Free of overflow
/// for every size; holds for a size exactly when it holds for the same size turned by 90 degrees.
constexpr bool withinPixelBudget(Size size) {
    return size.width > 0 && size.height > 0 && size.width <= pixelBudget / size.height;
}

} // namespace sorvane::pixels
