#pragma once

#include <string>

#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// The text that goes into a picture's digest before its pixels, with the size of the upright
/// picture: the same bytes of pixels in another shape are another picture.
inline std::string digestPrefix(Size upright) {
    return std::to_string(upright.width) + 'x' + std::to_string(upright.height) + ":rgba8-srgb:";
}

} // namespace sorvane::decoder
