#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane {

/// Pictures with more pixels get no pixel identity: a prompt does not wait for them. The decoder
/// rejects them, and the hook accepts no answer about one.
inline constexpr std::uint32_t pixelBudget = 60'000'000;

/// The largest frame: the whole budget as RGBA, 8 bits a channel.
inline constexpr std::size_t maxFrameBytes = std::size_t{4} * pixelBudget;

/// True when a picture has a pixel, and not more of them than the budget. Free of overflow for
/// every size.
constexpr bool withinPixelBudget(std::uint64_t width, std::uint64_t height) {
    return width > 0 && height > 0 && width <= pixelBudget / height;
}

} // namespace sorvane
