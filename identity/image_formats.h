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
    bmp,
    icon,
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
};

/// The first row that recognises the file, or nothing: then the file is no image here.
/// `firstBytes` is the beginning of the file, as much of it as the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    for (const ImageFormatRow& row : imageFormats)
        if (row.recognises(firstBytes)) return row;
    return std::nullopt;
}

} // namespace sorvane
