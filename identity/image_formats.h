#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace sorvane {

/// The image formats that are read, each recognised by its first bytes. The hook uses the table to
/// decide whether a file is worth a child and which program decodes it; the child uses it to pick
/// the codec. Adding a format is one row here and one file pair under identity/pixels/codecs/.
enum class ImageFormat {
    png,
    jpeg,
    gif,
    webp,
    tiff,
    bmp,
    icon,
    pnm,
    psd,
    tga,
};

/// As many first bytes as any row looks at.
inline constexpr std::size_t recognitionLength = 32;

struct ImageFormatRow {
    ImageFormat format;
    std::string_view program;
    bool (*recognises)(std::string_view firstBytes);
};

/// The formats that people attach every day, their libraries linked in.
inline constexpr std::string_view commonDecoder = "sorvane-pixels";

/// The rare formats, and those whose libraries are heavy.
inline constexpr std::string_view extraDecoder = "sorvane-pixels-extra";

/// A header that is plausible in every field, as TGA has no signature. Each kind of picture has its
/// depths, and a palette or zeros in its place.
constexpr bool isTga(std::string_view bytes) {
    constexpr std::string_view zeros("\0\0\0\0\0", 5);
    constexpr std::string_view kinds = "\1\2\3\x09\x0a\x0b"; // palette, colour, grey; in runs
    constexpr std::string_view colourDepths = "\x0f\x10\x18\x20";
    if (bytes.size() < 18 || kinds.find(bytes[2]) == kinds.npos) return false;
    const int kind = bytes[2] & 3;
    const std::string_view depths = kind == 2 ? colourDepths : "\x08\x10";
    const bool palette = bytes[1] == 1 && bytes.substr(5, 2) != zeros.substr(0, 2) &&
                         colourDepths.find(bytes[7]) != colourDepths.npos;
    const bool noPalette = bytes[1] == 0 && bytes.substr(3, 5) == zeros && kind != 1;
    return (palette || noPalette) && depths.find(bytes[16]) != depths.npos &&
           bytes.substr(12, 2) != zeros.substr(0, 2) && bytes.substr(14, 2) != zeros.substr(0, 2) &&
           (bytes[17] & 0xc0) == 0;
}

inline constexpr std::array imageFormats = {
    ImageFormatRow{ImageFormat::png, commonDecoder,
                   [](std::string_view bytes) { return bytes.starts_with("\x89PNG\r\n\x1a\n"); }},
    ImageFormatRow{ImageFormat::jpeg, commonDecoder,
                   [](std::string_view bytes) { return bytes.starts_with("\xff\xd8\xff"); }},
    ImageFormatRow{ImageFormat::gif, commonDecoder,
                   [](std::string_view bytes) {
                       return bytes.starts_with("GIF87a") || bytes.starts_with("GIF89a");
                   }},
    ImageFormatRow{ImageFormat::webp, commonDecoder,
                   [](std::string_view bytes) {
                       return bytes.size() >= 12 && bytes.starts_with("RIFF") &&
                              bytes.substr(8, 4) == "WEBP";
                   }},
    ImageFormatRow{ImageFormat::tiff, commonDecoder,
                   [](std::string_view bytes) {
                       return bytes.starts_with(std::string_view("II*\0", 4)) ||
                              bytes.starts_with(std::string_view("MM\0*", 4)) ||
                              bytes.starts_with(std::string_view("II+\0\x08\0\0\0", 8)) ||
                              bytes.starts_with(std::string_view("MM\0+\0\x08\0\0", 8));
                   }},
    ImageFormatRow{ImageFormat::bmp, commonDecoder,
                   [](std::string_view bytes) {
                       // Behind the file's header, the length of the bitmap's: one of these.
                       constexpr std::string_view lengths("\x0c\x10\x28\x34\x38\x40\x6c\x7c");
                       return bytes.size() >= 18 && bytes.starts_with("BM") &&
                              lengths.find(bytes[14]) != lengths.npos &&
                              bytes.substr(15, 3) == std::string_view("\0\0\0", 3);
                   }},
    ImageFormatRow{ImageFormat::icon, commonDecoder,
                   [](std::string_view bytes) {
                       // Icon or cursor; at least one picture; in its entry a byte that is 0, or
                       // 255 from one well-known writer, and a place.
                       return bytes.size() >= 22 && bytes.starts_with({"\0\0", 2}) &&
                              (bytes[2] == 1 || bytes[2] == 2) && bytes[3] == 0 &&
                              bytes.substr(4, 2) != std::string_view("\0\0", 2) &&
                              (bytes[9] == 0 || bytes[9] == '\xff') &&
                              bytes.substr(18, 4) != std::string_view("\0\0\0\0", 4);
                   }},
    ImageFormatRow{ImageFormat::pnm, extraDecoder,
                   [](std::string_view bytes) {
                       // Behind the map's number white space, and then more of it, a comment or a
                       // size; PAM has lines from here on.
                       constexpr std::string_view space = " \t\n\v\f\r";
                       constexpr std::string_view next = " \t\n\v\f\r#0123456789";
                       if (bytes.starts_with("P7\n")) return true;
                       return bytes.size() >= 4 && bytes[0] == 'P' && bytes[1] >= '1' &&
                              bytes[1] <= '6' &&
                              (bytes[2] == '#' || (space.find(bytes[2]) != space.npos &&
                                                   next.find(bytes[3]) != next.npos));
                   }},
    ImageFormatRow{
        ImageFormat::psd, extraDecoder,
        [](std::string_view bytes) {
            return bytes.starts_with({"8BPS\0\1", 6}) || bytes.starts_with({"8BPS\0\2", 6});
        }},
    // Last, for want of a signature.
    ImageFormatRow{ImageFormat::tga, extraDecoder, isTga},
};

/// The first row that recognises the file, or nothing: then the file is no image here.
/// `firstBytes` is the beginning of the file, as much of it as the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    for (const ImageFormatRow& row : imageFormats)
        if (row.recognises(firstBytes)) return row;
    return std::nullopt;
}

} // namespace sorvane
