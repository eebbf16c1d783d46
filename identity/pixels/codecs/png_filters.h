#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sorvane::pixels {

/// Undoes the filter of one row in place. `above` is the row before, undone, as long as `row`;
/// zeros before the first. `pixelBytes` is 1 to 4 and divides the row's length. False: there is no
/// such filter. One file a processor holds this, in its vector instructions.
bool unfilterRow(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above,
                 std::size_t pixelBytes);

/// The same, a byte at a time: what the other is to do.
bool unfilterRowPlainly(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above,
                        std::size_t pixelBytes);

namespace png_filter {

inline constexpr std::uint8_t none = 0;
inline constexpr std::uint8_t sub = 1;
inline constexpr std::uint8_t up = 2;
inline constexpr std::uint8_t average = 3;
inline constexpr std::uint8_t paeth = 4;

} // namespace png_filter

} // namespace sorvane::pixels
