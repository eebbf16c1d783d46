#include "decoder/formats/exif.h"

#include <optional>

#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::uint16_t tiffMark = 42;
constexpr std::size_t firstDirectoryField = 4;
constexpr std::size_t entryLength = 12;
constexpr std::uint16_t orientationTag = 0x0112;
constexpr std::uint16_t shortType = 3;

std::optional<ByteOrder> byteOrder(std::span<const std::uint8_t> exif) {
    if (exif.size() < 2 || exif[0] != exif[1]) return std::nullopt;
    if (exif[0] == 'I') return ByteOrder::little;
    if (exif[0] == 'M') return ByteOrder::big;
    return std::nullopt;
}

// The value of the first directory's orientation entry. Other directories describe the preview
// image and are not looked at, so no chain of directories is ever followed.
std::optional<std::uint16_t> orientationValue(const NumberReader& numbers) {
    if (numbers.u16(2) != tiffMark) return std::nullopt;
    const auto directory = numbers.u32(firstDirectoryField);
    const auto count = directory ? numbers.u16(*directory) : std::nullopt;
    if (!count) return std::nullopt;
    for (std::size_t i = 0; i < *count; ++i) {
        const std::size_t entry = *directory + std::size_t{2} + i * entryLength;
        const auto tag = numbers.u16(entry);
        if (!tag) return std::nullopt;
        if (tag != orientationTag) continue;
        if (numbers.u16(entry + 2) != shortType || numbers.u32(entry + 4) != 1U)
            return std::nullopt;
        return numbers.u16(entry + 8);
    }
    return std::nullopt;
}

} // namespace

Orientation exifOrientation(std::span<const std::uint8_t> exif) {
    const auto order = byteOrder(exif);
    const auto value = order ? orientationValue(NumberReader(exif, *order)) : std::nullopt;
    return orientationFrom(value.value_or(0)).value_or(Orientation::upright);
}

} // namespace sorvane::decoder
