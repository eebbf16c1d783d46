// For processors whose vector instructions nobody has written down here.

#include "identity/pixels/codecs/png_filters.h"

namespace sorvane::pixels {

bool unfilterRow(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above,
                 std::size_t pixelBytes) {
    return unfilterRowPlainly(filter, row, above, pixelBytes);
}

} // namespace sorvane::pixels
