#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sorvane {

/// The image formats that are read, each recognised by its first bytes. The hook uses the table to
/// decide whether a file is worth a child and which program decodes it; the child uses it to pick
/// the codec. Adding a format is one row here and one file pair under identity/pixels/codecs/.
enum class ImageFormat { png, jpeg };

struct ImageFormatRow {
    ImageFormat format;
    std::string_view signature;
    std::string_view program;
};

inline constexpr std::array imageFormats = {
    ImageFormatRow{ImageFormat::png, "\x89PNG\r\n\x1a\n", "sorvane-pixels"},
    ImageFormatRow{ImageFormat::jpeg, "\xff\xd8\xff", "sorvane-pixels"},
};

/// The row whose signature the file begins with, or nothing: then the file is no image here.
/// `firstBytes` is the beginning of the file, as much of it as the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    for (const ImageFormatRow& row : imageFormats)
        if (firstBytes.starts_with(row.signature)) return row;
    return std::nullopt;
}

} // namespace sorvane
