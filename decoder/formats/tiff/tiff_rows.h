#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/formats/tiff/tiff_reader.h"
#include "decoder/formats/tiff/tiff_stored_rows.h"
#include "decoder/picture/geometry.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The largest block of samples that is decoded at once, a row, a tile, or the rows that one row of
/// tiles covers: the whole budget in four channels of 16 bits. Tiles may reach beyond their
/// picture, but in real files not so far.
inline constexpr std::uint64_t maxTiffBlockBytes = std::uint64_t{8} * pixelBudget;

/// The stored rows of an interleaved picture or of one plane, from top to bottom.
class TiffRows {
  public:
    virtual ~TiffRows() = default;

    /// The next rows, at least one and `maxCount` at most, as many in every plane; valid until the
    /// next call. None: the file is damaged.
    virtual TiffStoredRows next(std::uint32_t maxCount) = 0;
};

/// Null when a block would exceed maxTiffBlockBytes. `reader` must outlive the rows and be used by
/// them alone. `sample` is the index of the plane in a planar picture, and 0 in an interleaved one.
std::unique_ptr<TiffRows> tiffStripRows(const TiffReader& reader, Size size, std::uint16_t sample);
std::unique_ptr<TiffRows> tiffTileRows(const TiffReader& reader, Size size, std::uint16_t sample);

/// Bytes a pixel of converted rows: RGB and one that is not used.
inline constexpr std::size_t convertedPixelBytes = 4;

/// The rows of a picture in luminance and chrominance, converted by libtiff.
std::unique_ptr<TiffRows> tiffConvertedRows(const TiffReader& reader, Size size);

} // namespace sorvane::decoder
