#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace sorvane {

/// The image formats that are read, each recognised by its first bytes. The hook uses the table to
/// decide whether a file is worth a child and which program decodes it; the child uses it to pick
/// the codec. Adding a format is one row here and one file pair under identity/pixels/codecs/.
enum class ImageFormat { png, jpeg };

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
};

/// The first row that recognises the file, or nothing: then the file is no image here.
/// `firstBytes` is the beginning of the file, as much of it as the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    for (const ImageFormatRow& row : imageFormats)
        if (row.recognises(firstBytes)) return row;
    return std::nullopt;
}

} // namespace sorvane
