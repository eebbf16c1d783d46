#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

Size uprightSize(Orientation orientation, Size stored) {
    if (orientation < Orientation::transpose) return stored;
    return {stored.height, stored.width};
}

Position uprightPosition(Orientation orientation, Size stored, Position position) {
    const auto [x, y] = position;
    const std::uint32_t fromRight = stored.width - 1 - x;
    const std::uint32_t fromBottom = stored.height - 1 - y;
    switch (orientation) {
    case Orientation::upright:
        return {x, y};
    case Orientation::mirror:
        return {fromRight, y};
    case Orientation::halfTurn:
        return {fromRight, fromBottom};
    case Orientation::flip:
        return {x, fromBottom};
    case Orientation::transpose:
        return {y, x};
    case Orientation::quarterTurn:
        return {fromBottom, x};
    case Orientation::transverse:
        return {fromBottom, fromRight};
    case Orientation::threeQuarterTurn:
        return {y, fromRight};
    }
    return position;
}

} // namespace sorvane::decoder
