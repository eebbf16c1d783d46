#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::decoder {

/// Rows as they lie in a PNG's data, one behind the other: each is the number of its filter, which
/// is one byte, and its pixels.
struct FilteredRows {
    std::uint8_t* first;
    std::size_t count;
    std::size_t width;
    /// 1 to 4.
    std::size_t pixelBytes;

    std::size_t stride() const { return 1 + pixelBytes * width; }
};

/// Most filters are undone in so many rows at once. It is the same in fewer, but takes as long.
inline constexpr std::size_t rowsAtOnce = 4;

/// Undoes the filters of rows in place; their numbers stay. In front of the first row stands the
/// one above it, undone; zeros above a picture. False: there is no such filter.
bool unfilterRows(FilteredRows rows);

namespace png_filter {

inline constexpr std::uint8_t none = 0;
inline constexpr std::uint8_t sub = 1;
inline constexpr std::uint8_t up = 2;
inline constexpr std::uint8_t average = 3;
inline constexpr std::uint8_t paeth = 4;

} // namespace png_filter

} // namespace sorvane::decoder
