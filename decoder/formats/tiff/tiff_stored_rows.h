#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::decoder {

/// Some rows of a TIFF as they are stored, one below the other.
struct TiffStoredRows {
    const std::uint8_t* first = nullptr;
    /// From a row's first byte to that of the next.
    std::size_t stride = 0;
    std::uint32_t count = 0;
};

} // namespace sorvane::decoder
