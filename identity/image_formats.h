#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "identity/image_signatures.h"

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
    heif,
    jpeg2000,
    jpegXl,
    pnm,
    psd,
    tga,
};

struct ImageFormatRow {
    ImageFormat format;
    std::string_view program;
    bool (*recognises)(std::string_view firstBytes);
};

/// The formats that people attach every day, their libraries linked in.
inline constexpr std::string_view commonDecoder = "sorvane-pixels";

/// The rare formats, and those whose libraries are heavy.
inline constexpr std::string_view extraDecoder = "sorvane-pixels-extra";

inline constexpr std::array imageFormats = {
    ImageFormatRow{ImageFormat::png, commonDecoder, signatures::isPng},
    ImageFormatRow{ImageFormat::jpeg, commonDecoder, signatures::isJpeg},
    ImageFormatRow{ImageFormat::gif, commonDecoder, signatures::isGif},
    ImageFormatRow{ImageFormat::webp, commonDecoder, signatures::isWebp},
    ImageFormatRow{ImageFormat::tiff, commonDecoder, signatures::isTiff},
    ImageFormatRow{ImageFormat::bmp, commonDecoder, signatures::isBmp},
    ImageFormatRow{ImageFormat::icon, commonDecoder, signatures::isIcon},
    ImageFormatRow{ImageFormat::heif, extraDecoder, signatures::isHeif},
    ImageFormatRow{ImageFormat::jpeg2000, extraDecoder, signatures::isJpeg2000},
    ImageFormatRow{ImageFormat::jpegXl, extraDecoder, signatures::isJpegXl},
    ImageFormatRow{ImageFormat::pnm, extraDecoder, signatures::isPnm},
    ImageFormatRow{ImageFormat::psd, extraDecoder, signatures::isPsd},
    ImageFormatRow{ImageFormat::tga, extraDecoder, signatures::isTga},
};

/// The first row that recognises the file, or nothing: then the file is no image here.
/// `firstBytes` is the beginning of the file, as much of it as the first read gave.
constexpr std::optional<ImageFormatRow> imageFormat(std::string_view firstBytes) {
    firstBytes = firstBytes.substr(0, signatures::length);
    for (const ImageFormatRow& row : imageFormats)
        if (row.recognises(firstBytes)) return row;
    return std::nullopt;
}

} // namespace sorvane
