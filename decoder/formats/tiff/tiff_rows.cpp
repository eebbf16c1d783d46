#include "decoder/formats/tiff/tiff_rows.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

namespace sorvane::decoder {

namespace {

constexpr bool isPossibleLength(std::uint64_t bytes) {
    return bytes > 0 && bytes <= maxTiffBlockBytes;
}

// A strip up to this length is decoded at once, which is faster and lets a compression that has a
// checksum verify it; a longer one, which may be the whole picture, row by row.
constexpr std::uint64_t maxWholeStripBytes = std::uint64_t{4} << 20;

// So are strips whose rows are this short, whatever their number: a call for each of sixty million
// rows takes longer than their pixels.
constexpr std::uint64_t maxShortRowBytes = 4;

std::uint32_t rowsPerStrip(const TiffReader& reader, Size size) {
    return std::min(reader.number<std::uint32_t>(TIFFTAG_ROWSPERSTRIP), size.height);
}

/// Where libtiff decodes to. Cleared before each use, since a decoder may leave some of it out, as
/// that of a fax that ends early does; at first without touching it, for it is as large as a file
/// declares, and the file may be cut.
class Block {
  public:
    explicit Block(std::size_t size)
        : size_(size), bytes_(static_cast<std::uint8_t*>(std::calloc(size, 1))) {
        if (!bytes_) throw std::bad_alloc();
    }

    std::uint8_t* cleared() {
        if (used_) std::fill_n(bytes_.get(), size_, std::uint8_t{0});
        used_ = true;
        return bytes_.get();
    }

    const std::uint8_t* data() const { return bytes_.get(); }
    tmsize_t size() const { return static_cast<tmsize_t>(size_); }

  private:
    std::size_t size_;
    std::unique_ptr<std::uint8_t, Release<std::free>> bytes_;
    bool used_ = false;
};

/// Strips, whole ones or row by row.
class StripRows final : public TiffRows {
  public:
    StripRows(const TiffReader& reader, Size size, std::uint16_t sample, bool whole,
              std::uint32_t stripRows, std::size_t blockBytes)
        : reader_(reader),
          height_(size.height),
          sample_(sample),
          whole_(whole),
          rowsAtOnce_(whole ? stripRows : 1),
          rowBytes_(static_cast<std::size_t>(TIFFScanlineSize(reader.library()))),
          block_(blockBytes) {}

    TiffStoredRows next(std::uint32_t maxCount) override {
        const std::uint32_t within = row_ % rowsAtOnce_;
        if (within == 0 && !readBlock()) return {};
        const std::uint32_t count = std::min({maxCount, rowsAtOnce_ - within, height_ - row_});
        row_ += count;
        return {block_.data() + within * rowBytes_, rowBytes_, count};
    }

  private:
    bool readBlock() {
        TIFF* tiff = reader_.library();
        if (!whole_)
            return TIFFReadScanline(tiff, block_.cleared(), row_, sample_) == 1 &&
                   !reader_.damaged();
        const auto strip = TIFFComputeStrip(tiff, row_, sample_);
        const auto rows = std::min(rowsAtOnce_, height_ - row_);
        const auto length = TIFFReadEncodedStrip(tiff, strip, block_.cleared(), block_.size());
        return length >= 0 && static_cast<std::size_t>(length) >= rows * rowBytes_ &&
               !reader_.damaged();
    }

    const TiffReader& reader_;
    std::uint32_t height_;
    std::uint16_t sample_;
    bool whole_;
    std::uint32_t rowsAtOnce_;
    std::size_t rowBytes_;
    Block block_;
    std::uint32_t row_ = 0;
};

/// Tiles, one row of them at once, without what reaches beyond the picture. A tile as wide as the
/// picture is its own row of tiles.
class TileRows final : public TiffRows {
  public:
    struct Measures {
        std::uint32_t tileWidth, tileLength;
        std::size_t tileBytes, tileRowBytes;
        std::size_t rowBytes;
    };

    TileRows(const TiffReader& reader, Size size, std::uint16_t sample, const Measures& measures)
        : reader_(reader),
          size_(size),
          sample_(sample),
          measures_(measures),
          tile_(measures.tileBytes) {
        if (measures.tileWidth < size.width)
            band_.resize(measures.rowBytes * std::min(measures.tileLength, size.height));
    }

    TiffStoredRows next(std::uint32_t maxCount) override {
        const std::uint32_t within = row_ % measures_.tileLength;
        if (within == 0 && !(band_.empty() ? readTile(0) : readBand())) return {};
        const std::uint32_t count =
            std::min({maxCount, measures_.tileLength - within, size_.height - row_});
        row_ += count;
        if (band_.empty())
            return {tile_.data() + within * measures_.tileRowBytes, measures_.tileRowBytes, count};
        return {band_.data() + within * measures_.rowBytes, measures_.rowBytes, count};
    }

  private:
    bool readBand() {
        const std::uint32_t rows = std::min(measures_.tileLength, size_.height - row_);
        std::size_t offset = 0;
        for (std::uint64_t x = 0; x < size_.width; x += measures_.tileWidth) {
            if (!readTile(static_cast<std::uint32_t>(x))) return false;
            const std::size_t length =
                std::min(measures_.tileRowBytes, measures_.rowBytes - offset);
            for (std::size_t y = 0; y < rows; ++y)
                std::memcpy(band_.data() + y * measures_.rowBytes + offset,
                            tile_.data() + y * measures_.tileRowBytes, length);
            offset += length;
        }
        return true;
    }

    bool readTile(std::uint32_t x) {
        TIFF* tiff = reader_.library();
        const auto tile = TIFFComputeTile(tiff, x, row_, 0, sample_);
        return TIFFReadEncodedTile(tiff, tile, tile_.cleared(), tile_.size()) >= 0 &&
               !reader_.damaged();
    }

    const TiffReader& reader_;
    Size size_;
    std::uint16_t sample_;
    Measures measures_;
    Block tile_;
    std::vector<std::uint8_t> band_;
    std::uint32_t row_ = 0;
};

/// The pixels as libtiff itself converts them, as many rows at once as a strip or tile has.
class ConvertedRows final : public TiffRows {
  public:
    ConvertedRows(const TiffReader& reader, Size size, std::uint32_t rowsAtOnce)
        : reader_(reader),
          size_(size),
          rowsAtOnce_(rowsAtOnce),
          raster_(std::size_t{size.width} * rowsAtOnce) {
        std::array<char, 1024> message;
        begun_ = TIFFRGBAImageBegin(&image_, reader_.library(), 1, message.data()) == 1;
        // Rows as they are stored: turning them is up to the caller.
        if (begun_) image_.req_orientation = image_.orientation;
    }
    ~ConvertedRows() override {
        if (begun_) TIFFRGBAImageEnd(&image_);
    }

    TiffStoredRows next(std::uint32_t maxCount) override {
        const std::uint32_t within = row_ % rowsAtOnce_;
        if (within == 0 && !readBlock()) return {};
        const std::uint32_t count = std::min({maxCount, rowsAtOnce_ - within, size_.height - row_});
        const std::size_t pixels = std::size_t{size_.width} * count;
        const std::uint32_t* from = raster_.data() + std::size_t{within} * size_.width;
        bytes_.resize(convertedPixelBytes * pixels);
        for (std::size_t at = 0; at < bytes_.size(); at += convertedPixelBytes, ++from) {
            bytes_[at] = static_cast<std::uint8_t>(TIFFGetR(*from));
            bytes_[at + 1] = static_cast<std::uint8_t>(TIFFGetG(*from));
            bytes_[at + 2] = static_cast<std::uint8_t>(TIFFGetB(*from));
        }
        row_ += count;
        return {bytes_.data(), convertedPixelBytes * size_.width, count};
    }

  private:
    bool readBlock() {
        if (!begun_) return false;
        image_.row_offset = static_cast<int>(row_);
        return TIFFRGBAImageGet(&image_, raster_.data(), size_.width,
                                std::min(rowsAtOnce_, size_.height - row_)) == 1 &&
               !reader_.damaged();
    }

    const TiffReader& reader_;
    Size size_;
    std::uint32_t rowsAtOnce_;
    std::vector<std::uint32_t> raster_;
    std::vector<std::uint8_t> bytes_;
    TIFFRGBAImage image_{};
    bool begun_ = false;
    std::uint32_t row_ = 0;
};

} // namespace

std::unique_ptr<TiffRows> tiffStripRows(const TiffReader& reader, Size size, std::uint16_t sample) {
    TIFF* tiff = reader.library();
    const std::uint32_t stripRows = rowsPerStrip(reader, size);
    const std::uint64_t stripBytes = TIFFVStripSize64(tiff, stripRows);
    // JBIG cannot be decoded row by row.
    const bool inseparable = reader.number<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_JBIG;
    const bool whole =
        inseparable || (stripBytes > 0 &&
                        stripBytes <= std::max(maxWholeStripBytes, maxShortRowBytes * stripRows));
    const std::uint64_t blockBytes = whole ? stripBytes : TIFFScanlineSize64(tiff);
    if (stripRows == 0 || !isPossibleLength(blockBytes)) return nullptr;
    return std::make_unique<StripRows>(reader, size, sample, whole, stripRows, blockBytes);
}

std::unique_ptr<TiffRows> tiffTileRows(const TiffReader& reader, Size size, std::uint16_t sample) {
    TIFF* tiff = reader.library();
    TileRows::Measures measures{
        reader.number<std::uint32_t>(TIFFTAG_TILEWIDTH),
        reader.number<std::uint32_t>(TIFFTAG_TILELENGTH),
        TIFFTileSize64(tiff),
        TIFFTileRowSize64(tiff),
        TIFFScanlineSize64(tiff),
    };
    // The format wants sides that are multiples of 16, so tiles never meet inside a byte.
    const std::uint64_t rowBits =
        std::uint64_t{measures.tileWidth} * reader.number<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    if (measures.tileWidth < size.width && rowBits % 8 != 0) return nullptr;
    if (!isPossibleLength(measures.tileBytes) || !isPossibleLength(measures.rowBytes) ||
        !isPossibleLength(measures.rowBytes * std::min(measures.tileLength, size.height)))
        return nullptr;
    return std::make_unique<TileRows>(reader, size, sample, measures);
}

std::unique_ptr<TiffRows> tiffConvertedRows(const TiffReader& reader, Size size) {
    TIFF* tiff = reader.library();
    const bool tiled = TIFFIsTiled(tiff) != 0;
    const std::uint32_t rows =
        std::min(size.height, tiled ? reader.number<std::uint32_t>(TIFFTAG_TILELENGTH)
                                    : rowsPerStrip(reader, size));
    if (rows == 0 || !isPossibleLength(tiled ? TIFFTileSize64(tiff) : TIFFStripSize64(tiff)))
        return nullptr;
    return std::make_unique<ConvertedRows>(reader, size, rows);
}

} // namespace sorvane::decoder
