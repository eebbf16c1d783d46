#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "decoder/input/buffered_file.h"
#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// What the derivation of a picture needs to know of an item.
struct HeifItem {
    std::uint32_t type = 0;
    /// The items that it is derived from, in order.
    std::vector<std::uint32_t> parts;
    /// The items that are its alpha.
    std::vector<std::uint32_t> alphas;
    /// All that it is declared to have.
    std::vector<Size> sizes;
    /// Turned, mirrored or clipped.
    bool transformed = false;
    bool isAlpha = false;
    /// Where its bytes lie in the file; 0 and 0 when they do not lie in one piece.
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    /// Some of its bytes are said to lie in `idat`, and do not.
    bool cut = false;
};

struct HeifItems {
    std::uint32_t primary = 0;
    std::map<std::uint32_t, HeifItem> items;
};

/// Reads the body of a `meta` box, the bytes from `begin` to `end` of `file`. Nothing: it is
/// damaged, or has one item twice, or two lists of what an item is derived from.
std::optional<HeifItems> readHeifItems(BufferedFile& file, std::uint64_t begin, std::uint64_t end);

} // namespace sorvane::decoder
