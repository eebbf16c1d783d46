#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>

#include <tiffio.h>

#include "decoder/formats/tiff/tiff_file.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

/// libtiff, opened on a file whose directory has been read. There may be several on one file.
class TiffReader {
  public:
    /// `file` must outlive this.
    explicit TiffReader(TiffFile& file);
    TiffReader(const TiffReader&) = delete;
    TiffReader& operator=(const TiffReader&) = delete;

    /// Null when libtiff finds no picture.
    TIFF* library() const { return tiff_.get(); }

    /// A tag of one number, or its default; 0 when it has none.
    template<class Number>
    Number number(std::uint32_t tag) const {
        Number value = 0;
        return TIFFGetFieldDefaulted(library(), tag, &value) == 1 ? value : Number{0};
    }

    /// Whether every strip or tile has an offset and a length. Without them libtiff may take other
    /// bytes for pixels.
    bool locatesAllPixels() const;

    /// Whether libtiff has complained about the pixels read so far. After some faults, such as a
    /// fax row of the wrong length, it goes on and reports success.
    bool damaged() const { return damaged_; }

  private:
    static TiffReader& self(thandle_t handle) { return *static_cast<TiffReader*>(handle); }
    static tmsize_t read(thandle_t handle, void* to, tmsize_t count) noexcept;
    static tmsize_t write(thandle_t, void*, tmsize_t) noexcept { return 0; }
    static toff_t seek(thandle_t handle, toff_t offset, int whence) noexcept;
    static toff_t size(thandle_t) noexcept;
    static int close(thandle_t) noexcept { return 0; }
    static int onError(TIFF*, void* reader, const char*, const char*, std::va_list) noexcept;
    static int onWarning(TIFF*, void* reader, const char*, const char* text, std::va_list) noexcept;

    TiffFile& file_;
    std::uint64_t position_ = 0;
    bool damaged_ = false;
    std::unique_ptr<TIFF, Release<TIFFClose>> tiff_;
};

} // namespace sorvane::decoder
