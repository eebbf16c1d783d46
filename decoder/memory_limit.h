#pragma once

#include <algorithm>
#include <cstdint>

namespace sorvane::decoder {

/// No picture may take more address space, whatever its format would need. With what a bare process
/// takes that stays within 1.5 GB.
inline constexpr std::uint64_t maxMemory = 1'390'000'000;

/// What photographs and screenshots of any camera, telephone and display need in every format. So
/// much is allowed on the smallest machine, lest a picture's digest depend on where it is decoded.
inline constexpr std::uint64_t everydayMemory = std::uint64_t{768} << 20;

/// How much address space a picture may take whose format takes `needed` bytes at most, on a
/// machine with `machine` bytes of memory: half of them, within these two limits.
constexpr std::uint64_t memoryLimit(std::uint64_t needed, std::uint64_t machine) {
    return std::min({needed, maxMemory, std::max(machine / 2, everydayMemory)});
}

} // namespace sorvane::decoder
