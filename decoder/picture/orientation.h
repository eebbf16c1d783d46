#pragma once

#include <cstdint>
#include <optional>

#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// What has to be done to the stored picture to set it upright, turns being clockwise. The numbers
/// are those of Exif.
enum class Orientation : std::uint8_t {
    upright = 1,
    mirror = 2,
    halfTurn = 3,
    flip = 4,
    transpose = 5,
    quarterTurn = 6,
    transverse = 7,
    threeQuarterTurn = 8,
};

/// The orientation that a file writes as `number`; nothing for a number that stands for none.
constexpr std::optional<Orientation> orientationFrom(std::uint32_t number) {
    if (number < 1 || number > 8) return std::nullopt;
    return static_cast<Orientation>(number);
}

/// The size of the upright picture whose stored size is `stored`.
Size uprightSize(Orientation orientation, Size stored);

/// Where the pixel that is stored at `position` lies in the upright picture. `position` must be
/// inside `stored`; the answer is then inside `uprightSize(orientation, stored)`.
Position uprightPosition(Orientation orientation, Size stored, Position position);

} // namespace sorvane::decoder
