#include "decoder/colour/srgb_encoder.h"

#include <algorithm>
#include <cmath>

#include "decoder/colour/srgb.h"

namespace sorvane::decoder {

SrgbEncoder::SrgbEncoder() {
    std::size_t from = 0;
    for (std::size_t code = 0; code < 256; ++code) {
        const double end = srgb::light((static_cast<double>(code) + 0.5) / 255);
        const std::size_t to =
            code < 255 ? static_cast<std::size_t>(std::ceil(end * last)) : codes_.size();
        std::fill(codes_.begin() + static_cast<std::ptrdiff_t>(from),
                  codes_.begin() + static_cast<std::ptrdiff_t>(to),
                  static_cast<std::uint8_t>(code));
        from = to;
    }
}

} // namespace sorvane::decoder
