#include "decoder/formats/exif.h"

#include <optional>

#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::uint16_t tiffMark = 42;
constexpr std::size_t firstDirectoryField = 4;
constexpr std::size_t entryLength = 12;
constexpr std::uint16_t orientationTag = 0x0112;
constexpr std::uint16_t byteType = 1;
constexpr std::uint16_t shortType = 3;
constexpr std::uint16_t longType = 4;

std::optional<ByteOrder> byteOrder(std::span<const std::uint8_t> exif) {
    if (exif.size() < 2 || exif[0] != exif[1]) return std::nullopt;
    if (exif[0] == 'I') return ByteOrder::little;
    if (exif[0] == 'M') return ByteOrder::big;
    return std::nullopt;
}

// The one number of an entry. It has four bytes of room there and stands in the first of them.
std::optional<std::uint32_t> entryValue(const NumberReader& numbers, std::size_t entry) {
    const std::size_t value = entry + 8;
    if (numbers.u32(entry + 4) != 1U) return std::nullopt;
    switch (numbers.u16(entry + 2).value_or(0)) {
    case byteType:
        return numbers.u8(value);
    case shortType:
        return numbers.u16(value);
    case longType:
        return numbers.u32(value);
    default:
        return std::nullopt;
    }
}

// The value of the first directory's orientation entry. The other directories describe a thumbnail,
// so none is followed.
std::optional<std::uint32_t> orientationValue(const NumberReader& numbers) {
    if (numbers.u16(2) != tiffMark) return std::nullopt;
    const auto directory = numbers.u32(firstDirectoryField);
    const auto count = directory ? numbers.u16(*directory) : std::nullopt;
    if (!count) return std::nullopt;
    for (std::size_t i = 0; i < *count; ++i) {
        const std::size_t entry = *directory + std::size_t{2} + i * entryLength;
        const auto tag = numbers.u16(entry);
        if (!tag) return std::nullopt;
        if (tag == orientationTag) return entryValue(numbers, entry);
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
