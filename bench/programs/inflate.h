#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace sorvane::bench {

using Bytes = std::span<std::uint8_t>;

/// Whether the pieces, one after the other, are a zlib stream of `size` bytes. At least one piece;
/// all in one buffer, which is overwritten. Each library has a source file of its own.
bool inflates(const std::vector<Bytes>& pieces, std::size_t size);

} // namespace sorvane::bench
