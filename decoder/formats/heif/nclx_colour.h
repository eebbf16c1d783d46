#pragma once

#include <cstdint>
#include <optional>

#include "decoder/picture/colour_statement.h"

namespace sorvane::decoder {

/// What coded primaries and transfer characteristics say, in the numbers of the video standards.
/// sRGB, BT.709 and silence are sRGB, as everywhere where pictures are shown; the wider primaries
/// of Display P3 and BT.2020 with a curve of theirs or sRGB's come as the profile that they stand
/// for. Nothing: other colours (high dynamic range, linear light), which are not brought to sRGB.
std::optional<ColourStatement> nclxColour(std::uint32_t primaries, std::uint32_t transfer);

} // namespace sorvane::decoder
