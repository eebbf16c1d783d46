#pragma once

#include <cstdint>
#include <optional>

#include "decoder/picture/colour_statement.h"

namespace sorvane::decoder {

/// What coded primaries and transfer characteristics, as the code points of H.273, say about the
/// colours. sRGB, BT.709 and unspecified ones are sRGB, as all viewers have it. A plain gamma
/// of 2.2 or 2.8, and the wider primaries of Display P3 and BT.2020, become the profile that they
/// stand for. Nothing: other colours (high dynamic range, linear light), which are not converted to
/// sRGB.
std::optional<ColourStatement> nclxColour(std::uint32_t primaries, std::uint32_t transfer);

} // namespace sorvane::decoder
