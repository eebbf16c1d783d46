#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "decoder/input/buffered_file.h"
#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// What the derivation of the primary picture asks of the pictures that it is made of: the sizes
/// that the coded ones may have; none are said where any will do.
using CodedSizes = std::vector<Size>;

/// Follows what the primary item and its alpha are derived from, in the box of descriptions whose
/// bytes lie from `begin` to `end`. libheif neither clears the canvas of a grid nor notices an item
/// that is made of itself, so nothing is answered for: a grid whose tiles do not cover it, have not
/// all one size, are turned or clipped, or are not coded pictures themselves; an overlay of others
/// than coded pictures; a grid of colours beside one of alpha with tiles of another size; a grid
/// beside pictures of other sizes than its own; chains
/// longer than `longestDerivation`; descriptions that are damaged. Nothing is decoded.
std::optional<CodedSizes> derivedSizes(BufferedFile& file, std::uint64_t begin, std::uint64_t end);

/// Items that are made of one another, or are one another's alpha: real files have three.
inline constexpr int longestDerivation = 8;

} // namespace sorvane::decoder
