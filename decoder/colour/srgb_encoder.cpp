#include "decoder/colour/srgb_encoder.h"

#include <algorithm>
#include <cmath>

namespace sorvane::decoder {

namespace {

double srgbLight(double encoded) {
    if (encoded <= 0.04045) return encoded / 12.92;
    return std::pow((encoded + 0.055) / 1.055, 2.4);
}

} // namespace

SrgbEncoder::SrgbEncoder() {
    std::size_t from = 0;
    for (std::size_t code = 0; code < 256; ++code) {
        const double end = srgbLight((static_cast<double>(code) + 0.5) / 255);
        const std::size_t to =
            code < 255 ? static_cast<std::size_t>(std::ceil(end * last)) : codes_.size();
        std::fill(codes_.begin() + static_cast<std::ptrdiff_t>(from),
                  codes_.begin() + static_cast<std::ptrdiff_t>(to),
                  static_cast<std::uint8_t>(code));
        from = to;
    }
}

} // namespace sorvane::decoder
