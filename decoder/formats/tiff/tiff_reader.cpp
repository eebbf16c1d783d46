#include "decoder/formats/tiff/tiff_reader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <span>
#include <string_view>

namespace sorvane::decoder {

namespace {

// For reading, and never through a map of the file.
constexpr const char* openMode = "rm";

using OpenOptions = std::unique_ptr<TIFFOpenOptions, Release<TIFFOpenOptionsFree>>;

} // namespace

TiffReader::TiffReader(TiffFile& file) : file_(file) {
    const OpenOptions options(TIFFOpenOptionsAlloc());
    if (!options) return;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, this);
    tiff_.reset(TIFFClientOpenExt("", openMode, this, read, write, seek, close, size, nullptr,
                                  nullptr, options.get()));
    // Complaints about the directory do not count: libtiff has opened it all the same, or not.
    damaged_ = false;
}

bool TiffReader::locatesAllPixels() const {
    // The old style of JPEG may keep its data elsewhere.
    if (number<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_OJPEG) return true;
    const std::uint32_t count =
        TIFFIsTiled(library()) != 0 ? TIFFNumberOfTiles(library()) : TIFFNumberOfStrips(library());
    for (std::uint32_t piece = 0; piece < count; ++piece)
        if (TIFFGetStrileOffset(library(), piece) == 0 ||
            TIFFGetStrileByteCount(library(), piece) == 0)
            return false;
    return true;
}

tmsize_t TiffReader::read(thandle_t handle, void* to, tmsize_t count) noexcept {
    TiffReader& reader = self(handle);
    const std::span<std::uint8_t> bytes(static_cast<std::uint8_t*>(to),
                                        static_cast<std::size_t>(std::max<tmsize_t>(count, 0)));
    const std::size_t got = reader.file_.read(reader.position_, bytes);
    reader.position_ += got;
    return static_cast<tmsize_t>(got);
}

toff_t TiffReader::seek(thandle_t handle, toff_t offset, int whence) noexcept {
    TiffReader& reader = self(handle);
    if (whence == SEEK_CUR) offset += reader.position_;
    if (whence == SEEK_END) offset += maxTiffFileBytes;
    return reader.position_ = offset;
}

// The real size would be known only after reading what follows the picture, which may be gigabytes.
// libtiff compares it with lengths that it doubts; with too large a size it finds out when it
// reads.
toff_t TiffReader::size(thandle_t) noexcept { return maxTiffFileBytes; }

int TiffReader::onError(TIFF*, void* reader, const char*, const char*, std::va_list) noexcept {
    static_cast<TiffReader*>(reader)->damaged_ = true;
    return 1;
}

// A warning while pixels are read counts as an error, except for these, which name common habits of
// writers.
int TiffReader::onWarning(TIFF*, void* reader, const char*, const char* text,
                          std::va_list) noexcept {
    constexpr std::array habits = {
        std::string_view("JPEG strip size exceeds expected dimensions,"),
        std::string_view("The JPEG strip/tile is encoded with progressive mode,"),
        std::string_view("Old-style LZW codes,"),
        std::string_view("Deprecated and troublesome old-style JPEG"),
        std::string_view("Subsampling tag is not set,"),
        std::string_view("Subsampling inside JPEG data"),
    };
    const std::string_view warning(text);
    const bool harmless = std::ranges::any_of(
        habits, [warning](std::string_view habit) { return warning.starts_with(habit); });
    if (!harmless) static_cast<TiffReader*>(reader)->damaged_ = true;
    return 1;
}

} // namespace sorvane::decoder
