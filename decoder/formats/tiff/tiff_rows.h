#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/formats/tiff/tiff_reader.h"
#include "decoder/picture/geometry.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// The largest block of samples that is decoded at once, be it a row, a tile, or the part of the
/// picture that a row of tiles covers: the whole budget in four channels of 16 bits. Files have
/// tiles that reach beyond their picture, but not so far.
inline constexpr std::uint64_t tiffBlockLimit = std::uint64_t{8} * pixelBudget;

/// A picture's stored rows, or those of one of its samples, from top to bottom.
class TiffRows {
  public:
    virtual ~TiffRows() = default;

    /// The next row; valid until the next call. Null: the file is damaged.
    virtual const std::uint8_t* next() = 0;
};

/// Null when the blocks are beyond their limit. `reader` must outlive the rows and be used by them
/// alone. `sample` counts where every sample has rows of its own, and is 0 elsewhere.
std::unique_ptr<TiffRows> tiffStripRows(const TiffReader& reader, Size size, std::uint16_t sample);
std::unique_ptr<TiffRows> tiffTileRows(const TiffReader& reader, Size size, std::uint16_t sample);

/// What a pixel of converted rows takes: RGB and one byte more.
inline constexpr std::size_t convertedPixelBytes = 4;

/// The rows of a picture in luminance and chrominance, converted by libtiff.
std::unique_ptr<TiffRows> tiffConvertedRows(const TiffReader& reader, Size size);

} // namespace sorvane::decoder
