#pragma once

#include <cstddef>
#include <cstdint>

namespace sorvane::decoder {

/// Rows as they stand in a PNG's data, one after the other: each is the number of its filter, in
/// one byte, and its pixels.
struct FilteredRows {
    std::uint8_t* first;
    std::size_t count;
    std::size_t width;
    /// 1 to 4, 6 or 8.
    std::size_t pixelBytes;

    std::size_t stride() const { return 1 + pixelBytes * width; }
};

/// Most filters are undone in this many rows at once. Fewer rows give the same result, but take as
/// long.
inline constexpr std::size_t rowsAtOnce = 4;

/// Undoes the filters of rows in place; their numbers stay. Before the first row stands the row
/// above it, undone, or zeros at the top of a picture. False: a filter does not exist.
bool unfilterRows(FilteredRows rows);

namespace png_filter {

inline constexpr std::uint8_t none = 0;
inline constexpr std::uint8_t sub = 1;
inline constexpr std::uint8_t up = 2;
inline constexpr std::uint8_t average = 3;
inline constexpr std::uint8_t paeth = 4;

} // namespace png_filter

} // namespace sorvane::decoder
