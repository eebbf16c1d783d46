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

struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

TiffReader::TiffReader(TiffFile& file) : file_(file) {
    const std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
    if (!options) return;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), onWarning, this);
    tiff_ = TIFFClientOpenExt("", openMode, this, read, write, seek, close, size, nullptr, nullptr,
                              options.get());
    // What was odd about the directory is mended or no matter, or the picture was not opened.
    damaged_ = false;
}

TiffReader::~TiffReader() {
    if (tiff_ != nullptr) TIFFClose(tiff_);
}

bool TiffReader::placesAllPixels() const {
    // The old style of JPEG may keep its data elsewhere.
    if (number<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_OJPEG) return true;
    const std::uint32_t count =
        TIFFIsTiled(tiff_) != 0 ? TIFFNumberOfTiles(tiff_) : TIFFNumberOfStrips(tiff_);
    for (std::uint32_t piece = 0; piece < count; ++piece)
        if (TIFFGetStrileOffset(tiff_, piece) == 0 || TIFFGetStrileByteCount(tiff_, piece) == 0)
            return false;
    return true;
}

tmsize_t TiffReader::read(thandle_t handle, void* to, tmsize_t count) noexcept {
    TiffReader& reader = self(handle);
    const std::span<std::uint8_t> bytes(static_cast<std::uint8_t*>(to),
                                        static_cast<std::size_t>(std::max<tmsize_t>(count, 0)));
    const std::size_t came = reader.file_.read(reader.position_, bytes);
    reader.position_ += came;
    return static_cast<tmsize_t>(came);
}

toff_t TiffReader::seek(thandle_t handle, toff_t offset, int whence) noexcept {
    TiffReader& reader = self(handle);
    if (whence == SEEK_CUR) offset += reader.position_;
    if (whence == SEEK_END) offset += tiffFileLimit;
    return reader.position_ = offset;
}

// The true size could be known only by reading what follows the picture, which may be gigabytes.
// libtiff asks for it where it doubts a length that the file gives; too large an answer makes it
// believe the length, and find out when it reads.
toff_t TiffReader::size(thandle_t) noexcept { return tiffFileLimit; }

int TiffReader::onError(TIFF*, void* reader, const char*, const char*, std::va_list) noexcept {
    static_cast<TiffReader*>(reader)->damaged_ = true;
    return 1;
}

// A warning while pixels are read is as bad as an error, but for those that name a habit of
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
