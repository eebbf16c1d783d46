#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

// Recognises a file's format by its first bytes: as many as tell it from other formats and from
// text.
namespace sorvane::signatures {

/// The most bytes that a function is given: an HEIF file may list a dozen brands.
inline constexpr std::size_t length = 64;

constexpr bool isPng(std::string_view bytes) { return bytes.starts_with("\x89PNG\r\n\x1a\n"); }

constexpr bool isJpeg(std::string_view bytes) { return bytes.starts_with("\xff\xd8\xff"); }

constexpr bool isGif(std::string_view bytes) {
    return bytes.starts_with("GIF87a") || bytes.starts_with("GIF89a");
}

constexpr bool isWebp(std::string_view bytes) {
    return bytes.size() >= 12 && bytes.starts_with("RIFF") && bytes.substr(8, 4) == "WEBP";
}

constexpr bool isTiff(std::string_view bytes) {
    return bytes.starts_with(std::string_view("II*\0", 4)) ||
           bytes.starts_with(std::string_view("MM\0*", 4)) ||
           bytes.starts_with(std::string_view("II+\0\x08\0\0\0", 8)) ||
           bytes.starts_with(std::string_view("MM\0+\0\x08\0\0", 8));
}

constexpr bool isBmp(std::string_view bytes) {
    // After the file header comes the length of the bitmap header: one of these.
    constexpr std::string_view lengths("\x0c\x10\x28\x34\x38\x40\x6c\x7c");
    return bytes.size() >= 18 && bytes.starts_with("BM") &&
           lengths.find(bytes[14]) != lengths.npos &&
           bytes.substr(15, 3) == std::string_view("\0\0\0", 3);
}

constexpr bool isIcon(std::string_view bytes) {
    // An icon or a cursor with at least one picture, whose entry has an offset and a reserved byte
    // of 0, or of 255 from one well-known writer.
    return bytes.size() >= 22 && bytes.starts_with({"\0\0", 2}) &&
           (bytes[2] == 1 || bytes[2] == 2) && bytes[3] == 0 &&
           bytes.substr(4, 2) != std::string_view("\0\0", 2) &&
           (bytes[9] == 0 || bytes[9] == '\xff') &&
           bytes.substr(18, 4) != std::string_view("\0\0\0\0", 4);
}

/// Films have the same container: a file must name, first or among the compatible ones, a brand of
/// pictures that are coded in HEVC or AV1.
constexpr bool isHeif(std::string_view bytes) {
    constexpr std::array<std::string_view, 11> brands = {
        "heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "mif2", "msf1", "avif", "avis"};
    constexpr std::size_t typeField = 4;
    constexpr std::size_t majorField = 8;
    constexpr std::size_t versionField = 12;
    if (bytes.size() < versionField || bytes.substr(typeField, 4) != "ftyp") return false;
    std::size_t end = 0;
    for (std::size_t i = 0; i < 4; ++i) end = end << 8 | static_cast<unsigned char>(bytes[i]);
    for (std::size_t offset = majorField; offset + 4 <= std::min(bytes.size(), end); offset += 4)
        for (const std::string_view brand : brands)
            if (offset != versionField && bytes.substr(offset, 4) == brand) return true;
    return false;
}

constexpr bool isJpeg2000(std::string_view bytes) {
    return bytes.starts_with("\xff\x4f\xff\x51") ||
           bytes.starts_with(std::string_view("\0\0\0\x0cjP  \r\n\x87\n", 12));
}

constexpr bool isJpegXl(std::string_view bytes) {
    return bytes.starts_with("\xff\x0a") ||
           bytes.starts_with(std::string_view("\0\0\0\x0cJXL \r\n\x87\n", 12));
}

constexpr bool isPnm(std::string_view bytes) {
    // After the number: a comment; or white space followed by more of it, a comment or a digit. A
    // PAM has "P7" alone in its first line.
    constexpr std::string_view space = " \t\n\v\f\r";
    constexpr std::string_view next = " \t\n\v\f\r#0123456789";
    if (bytes.starts_with("P7\n")) return true;
    return bytes.size() >= 4 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6' &&
           (bytes[2] == '#' ||
            (space.find(bytes[2]) != space.npos && next.find(bytes[3]) != next.npos));
}

constexpr bool isPsd(std::string_view bytes) {
    return bytes.starts_with({"8BPS\0\1", 6}) || bytes.starts_with({"8BPS\0\2", 6});
}

/// TGA has no signature: every field of the header must be plausible. Each type of picture has its
/// depths, and either a palette or zeros in the palette's fields.
constexpr bool isTga(std::string_view bytes) {
    constexpr std::string_view zeros("\0\0\0\0\0", 5);
    // Palette, colour, grey; and the same run-length encoded.
    constexpr std::string_view types = "\1\2\3\x09\x0a\x0b";
    constexpr std::string_view colourDepths = "\x0f\x10\x18\x20";
    if (bytes.size() < 18 || types.find(bytes[2]) == types.npos) return false;
    const int type = bytes[2] & 3;
    const std::string_view depths = type == 2 ? colourDepths : "\x08\x10";
    const bool palette = bytes[1] == 1 && bytes.substr(5, 2) != zeros.substr(0, 2) &&
                         colourDepths.find(bytes[7]) != colourDepths.npos;
    const bool noPalette = bytes[1] == 0 && bytes.substr(3, 5) == zeros && type != 1;
    return (palette || noPalette) && depths.find(bytes[16]) != depths.npos &&
           bytes.substr(12, 2) != zeros.substr(0, 2) && bytes.substr(14, 2) != zeros.substr(0, 2) &&
           (bytes[17] & 0xc0) == 0;
}

} // namespace sorvane::signatures
