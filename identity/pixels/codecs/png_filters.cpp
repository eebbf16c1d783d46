#include "identity/pixels/codecs/png_filters.h"

#include <cstdlib>

namespace sorvane::pixels {

namespace {

// Of left, above and above left the one that is nearest to left + above - aboveLeft; in this order
// where they are equally near.
int nearest(int left, int above, int aboveLeft) {
    const int toLeft = std::abs(above - aboveLeft);
    const int toAbove = std::abs(left - aboveLeft);
    const int toAboveLeft = std::abs(left + above - 2 * aboveLeft);
    if (toLeft <= toAbove && toLeft <= toAboveLeft) return left;
    return toAbove <= toAboveLeft ? above : aboveLeft;
}

// Adds to every byte what `predict` makes of its neighbours, which outside of the picture are 0.
template<class Predict>
void restore(std::span<std::uint8_t> row, const std::uint8_t* above, std::size_t pixelBytes,
             const Predict& predict) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool first = i < pixelBytes;
        const int left = first ? 0 : row[i - pixelBytes];
        const int aboveLeft = first ? 0 : above[i - pixelBytes];
        row[i] = static_cast<std::uint8_t>(row[i] + predict(left, above[i], aboveLeft));
    }
}

} // namespace

bool unfilterRowPlainly(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above,
                        std::size_t pixelBytes) {
    switch (filter) {
    case png_filter::none:
        return true;
    case png_filter::sub:
        restore(row, above, pixelBytes, [](int left, int, int) { return left; });
        return true;
    case png_filter::up:
        restore(row, above, pixelBytes, [](int, int up, int) { return up; });
        return true;
    case png_filter::average:
        restore(row, above, pixelBytes, [](int left, int up, int) { return (left + up) / 2; });
        return true;
    case png_filter::paeth:
        restore(row, above, pixelBytes, nearest);
        return true;
    default:
        return false;
    }
}

} // namespace sorvane::pixels
