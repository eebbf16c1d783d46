#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "identity/image_signatures.h"

namespace sorvane {

/// The image formats that are read (docs/image-formats.md), each recognised by its first bytes. By
/// this table the hook tells whether a file is worth a decoder and which program that is, and the
/// program picks the class that reads the format. CONTRIBUTING.md says what a new format needs.
enum class ImageFormat {
    png,
    jpeg,
    gif,
    webp,
    tiff,
    bmp,
    icon,
    heif,
    jpeg2000,
    jpegXl,
    pnm,
    psd,
    tga,
};

struct ImageFormatRow {
    ImageFormat format;
    /// Of the format's files and tests.
    std::string_view name;
    std::string_view program;
    bool (*recognises)(std::string_view firstBytes);
};

/// The formats that people attach every day, their libraries linked in.
inline constexpr std::string_view commonDecoder = "sorvane-pixels";

/// The rare formats, and those whose libraries are heavy.
inline constexpr std::string_view extraDecoder = "sorvane-pixels-extra";

inline constexpr std::array imageFormats = {
    ImageFormatRow{ImageFormat::png, "png", commonDecoder, signatures::isPng},
    ImageFormatRow{ImageFormat::jpeg, "jpeg", commonDecoder, signatures::isJpeg},
    ImageFormatRow{ImageFormat::gif, "gif", commonDecoder, signatures::isGif},
    ImageFormatRow{ImageFormat::webp, "webp", commonDecoder, signatures::isWebp},
    ImageFormatRow{ImageFormat::tiff, "tiff", commonDecoder, signatures::isTiff},
    ImageFormatRow{ImageFormat::bmp, "bmp", commonDecoder, signatures::isBmp},
    ImageFormatRow{ImageFormat::icon, "icon", commonDecoder, signatures::isIcon},
    ImageFormatRow{ImageFormat::heif, "heif", extraDecoder, signatures::isHeif},
    ImageFormatRow{ImageFormat::jpeg2000, "jpeg2000", extraDecoder, signatures::isJpeg2000},
    ImageFormatRow{ImageFormat::jpegXl, "jpeg_xl", extraDecoder, signatures::isJpegXl},
    ImageFormatRow{ImageFormat::pnm, "pnm", extraDecoder, signatures::isPnm},
    ImageFormatRow{ImageFormat::psd, "psd", extraDecoder, signatures::isPsd},
    ImageFormatRow{ImageFormat::tga, "tga", extraDecoder, signatures::isTga},
};

/// The first row that recognises the file; nothing for a file of another format. `firstBytes` is
/// what the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    firstBytes = firstBytes.substr(0, signatures::length);
    for (const ImageFormatRow& row : imageFormats)
        if (row.recognises(firstBytes)) return row;
    return std::nullopt;
}

} // namespace sorvane
