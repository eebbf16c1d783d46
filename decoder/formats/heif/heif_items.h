#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "decoder/input/buffered_file.h"
#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// An item of a HEIF file, as far as a derivation asks.
struct HeifItem {
    std::uint32_t type = 0;
    /// What it is derived from, in order.
    std::vector<std::uint32_t> parts;
    /// The items that are its alpha.
    std::vector<std::uint32_t> alphas;
    std::vector<Size> sizes;
    bool transformed = false;
    bool isAlpha = false;
    /// Where its first bytes lie in the file, one run of them.
    std::uint64_t place = 0;
    std::uint64_t length = 0;
};

struct HeifItems {
    std::uint32_t primary = 0;
    std::map<std::uint32_t, HeifItem> items;
};

/// Reads the box of descriptions whose bytes lie from `begin` to `end` of `file`. Nothing: it is
/// damaged, or speaks twice of one thing.
std::optional<HeifItems> readHeifItems(BufferedFile& file, std::uint64_t begin, std::uint64_t end);

} // namespace sorvane::decoder
