#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Pictures like those that people attach, the same on every machine.
namespace sorvane::bench {

/// Opaque pixels, four bytes each, the top row first.
struct Drawing {
    std::size_t width;
    std::size_t height;
    std::vector<std::uint8_t> rgba;

    Drawing(std::size_t width, std::size_t height);
    void set(std::size_t x, std::size_t y, const std::uint8_t (&colour)[3]);
};

/// A desktop: a soft background, windows with a bar and a shadow, flat areas, and lines of small
/// smooth-edged writing.
Drawing screenshot(std::size_t width, std::size_t height);

/// A photograph: soft shapes of all sizes, and a sensor's grain over them.
Drawing photograph(std::size_t width, std::size_t height);

} // namespace sorvane::bench
