#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "decoder/input/buffered_file.h"
#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// The sizes that the coded pictures of a derivation may have; empty when every size will do.
using CodedSizes = std::vector<Size>;

/// Follows what the primary item and its alpha are derived from, as the body of the file's `meta`
/// box, its bytes from `begin` to `end`, describes it. libheif neither clears the canvas of a grid
/// nor notices an item that is derived from itself, so these are rejected: a grid whose tiles do
/// not cover it, differ in size, are turned or clipped, have more than one alpha, or are not coded
/// pictures; an overlay of anything but coded pictures, or on a canvas over the budget; grids of
/// colour and of alpha whose tiles differ in size; a grid beside a picture of another size than its
/// own; more than `maxDerivationDepth` steps; an item some of whose bytes are missing in `idat`,
/// which libheif leaves out; a damaged description. Nothing is decoded.
std::optional<CodedSizes> derivedSizes(BufferedFile& file, std::uint64_t begin, std::uint64_t end);

/// How many items may be derived from one another, or be one another's alpha: real files have
/// three.
inline constexpr int maxDerivationDepth = 8;

} // namespace sorvane::decoder
