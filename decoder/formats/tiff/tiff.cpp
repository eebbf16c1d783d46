#include "decoder/formats/tiff/tiff.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "decoder/formats/tiff/tiff_reader.h"
#include "decoder/formats/tiff/tiff_samples.h"
#include "decoder/formats/whole_rows.h"

// Of libdeflate, where libtiff has been built with it.
extern "C" [[gnu::weak]] std::uint32_t libdeflate_adler32(std::uint32_t checksum, const void* bytes,
                                                          std::size_t count);

namespace sorvane::decoder {

namespace {

// The compressions of the kinds of picture that are read. libtiff knows more, for measurements,
// elevation maps and early scanners.
constexpr std::array<std::uint16_t, 16> compressions = {
    COMPRESSION_NONE,      COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4,
    COMPRESSION_LZW,       COMPRESSION_OJPEG,    COMPRESSION_JPEG,      COMPRESSION_ADOBE_DEFLATE,
    COMPRESSION_CCITTRLEW, COMPRESSION_PACKBITS, COMPRESSION_DEFLATE,   COMPRESSION_JBIG,
    COMPRESSION_LERC,      COMPRESSION_LZMA,     COMPRESSION_ZSTD,      COMPRESSION_WEBP};

// A pixel's samples beyond the colours and the first extra one are skipped; interleaved ones are
// decompressed before that. Scanners and satellites have a dozen bands.
constexpr unsigned maxSamples = 32;
constexpr unsigned maxBits = 32;
constexpr unsigned maxIndexBits = 16;

/// What the directory says about the samples.
struct Directory {
    Size size;
    std::uint16_t bits = 0, samples = 0, photometric = 0, compression = 0;
    bool planar = false;
    std::optional<std::uint16_t> firstExtra;
};

// A sample is alpha only if the file says so. The one exception, as in other readers, are four
// samples of RGB without any statement: early writers of alpha had no way to make one.
std::optional<std::uint16_t> firstExtra(const TiffReader& reader, const TiffFile& file,
                                        const Directory& directory) {
    if (!file.namesExtraSamples()) {
        if (directory.photometric == PHOTOMETRIC_RGB && directory.samples == 4)
            return EXTRASAMPLE_UNASSALPHA;
        return std::nullopt;
    }
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    if (TIFFGetField(reader.library(), TIFFTAG_EXTRASAMPLES, &count, &kinds) != 1 || count == 0)
        return std::nullopt;
    return kinds[0];
}

std::optional<Directory> readDirectory(const TiffReader& reader, const TiffFile& file) {
    Directory directory;
    if (TIFFGetField(reader.library(), TIFFTAG_PHOTOMETRIC, &directory.photometric) != 1)
        return std::nullopt;
    directory.size = {reader.number<std::uint32_t>(TIFFTAG_IMAGEWIDTH),
                      reader.number<std::uint32_t>(TIFFTAG_IMAGELENGTH)};
    directory.bits = reader.number<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    directory.samples = reader.number<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    directory.compression = reader.number<std::uint16_t>(TIFFTAG_COMPRESSION);
    directory.planar = directory.samples > 1 &&
                       reader.number<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    directory.firstExtra = firstExtra(reader, file, directory);

    const auto kind = reader.number<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    const bool unsignedNumbers = kind == SAMPLEFORMAT_UINT || kind == SAMPLEFORMAT_VOID;
    if (!unsignedNumbers || directory.bits == 0 || directory.bits > maxBits ||
        directory.samples > maxSamples ||
        std::ranges::find(compressions, directory.compression) == compressions.end() ||
        !withinBudget(directory.size) || !reader.locatesAllPixels())
        return std::nullopt;
    return directory;
}

// Many writers put 8-bit values into the 16-bit entries of a palette, some unscaled and some in the
// upper half, where white would be slightly grey.
std::vector<TiffColour> scaledPalette(std::vector<TiffColour> palette) {
    std::uint16_t used = 0;
    for (const TiffColour& colour : palette)
        for (const std::uint16_t value : colour) used |= value;
    const bool upperHalf = (used & 0xff) == 0;
    if (!upperHalf && used > 0xff) return palette;
    for (TiffColour& colour : palette)
        for (std::uint16_t& value : colour)
            value = static_cast<std::uint16_t>((upperHalf ? value >> 8 : value) * 257);
    return palette;
}

std::vector<TiffColour> readPalette(const TiffReader& reader, unsigned bits) {
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    if (TIFFGetField(reader.library(), TIFFTAG_COLORMAP, &red, &green, &blue) != 1) return {};
    std::vector<TiffColour> palette(std::size_t{1} << bits);
    for (std::size_t i = 0; i < palette.size(); ++i) palette[i] = {red[i], green[i], blue[i]};
    return scaledPalette(std::move(palette));
}

// How many samples of a pixel are colours; 0: the photometric interpretation is not read.
std::uint16_t colourSamples(const TiffReader& reader, const Directory& directory) {
    switch (directory.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
        return 1;
    case PHOTOMETRIC_RGB:
        return 3;
    case PHOTOMETRIC_YCBCR:
        return directory.samples == 3 && directory.bits == 8 ? 3 : 0;
    case PHOTOMETRIC_SEPARATED:
        return reader.number<std::uint16_t>(TIFFTAG_INKSET) == INKSET_CMYK ? 4 : 0;
    default:
        return 0;
    }
}

// Alpha beside inks or YCbCr is dropped, as is every sample after the first extra one.
std::optional<TiffSampleLayout> sampleLayout(const TiffReader& reader, const Directory& directory) {
    const std::uint16_t colours = colourSamples(reader, directory);
    if (colours == 0 || directory.samples < colours) return std::nullopt;
    const bool inks = directory.photometric == PHOTOMETRIC_SEPARATED;
    const bool indexed = directory.photometric == PHOTOMETRIC_PALETTE;
    const bool premultiplied = directory.firstExtra == EXTRASAMPLE_ASSOCALPHA;
    const bool alpha = directory.samples > colours && !inks &&
                       (premultiplied || directory.firstExtra == EXTRASAMPLE_UNASSALPHA);
    TiffSampleLayout layout;
    layout.channels = inks ? Channels::cmyk : channelsOf(colours == 3 || indexed, alpha);
    layout.bits = directory.bits;
    layout.interleaved = directory.planar ? 1 : directory.samples;
    layout.minIsWhite = directory.photometric == PHOTOMETRIC_MINISWHITE;
    layout.premultiplied = alpha && premultiplied;
    if (indexed && directory.bits <= maxIndexBits)
        layout.palette = readPalette(reader, directory.bits);
    if (indexed && layout.palette.empty()) return std::nullopt;
    return layout;
}

class TiffDecoder final : public Decoder {
  public:
    explicit TiffDecoder(ByteSource& file) : file_(file) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    const TiffReader* open();
    bool openRows(std::uint16_t planes);

    TiffFile file_;
    // One for each plane, since each goes through its own strips.
    std::vector<std::unique_ptr<TiffReader>> readers_;
    std::vector<std::unique_ptr<TiffRows>> rows_;
    Directory directory_;
    TiffSampleLayout layout_;
    // What converts YCbCr to RGB: the JPEG decoder, which does it best, or libtiff for all other
    // compressions.
    bool convertedByJpeg_ = false;
    bool convertedByLibrary_ = false;
};

const TiffReader* TiffDecoder::open() {
    const TiffReader& reader = *readers_.emplace_back(std::make_unique<TiffReader>(file_));
    return reader.library() != nullptr ? &reader : nullptr;
}

std::optional<PictureHeader> TiffDecoder::readHeader() {
    const TiffReader* reader = file_.readDirectory() ? open() : nullptr;
    const auto directory = reader != nullptr ? readDirectory(*reader, file_) : std::nullopt;
    auto layout = directory ? sampleLayout(*reader, *directory) : std::nullopt;
    if (!layout) return std::nullopt;
    directory_ = *directory;
    layout_ = std::move(*layout);
    if (directory_.photometric == PHOTOMETRIC_YCBCR) {
        convertedByJpeg_ = directory_.compression == COMPRESSION_JPEG && !directory_.planar;
        convertedByLibrary_ = !convertedByJpeg_;
    }
    if (convertedByJpeg_) TIFFSetField(reader->library(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (convertedByLibrary_) layout_.interleaved = convertedPixelBytes;

    PictureHeader header;
    header.size = directory_.size;
    header.orientation = orientationFrom(reader->number<std::uint16_t>(TIFFTAG_ORIENTATION))
                             .value_or(Orientation::upright);
    header.samples = layout_.format();
    if (auto profile = file_.profile()) header.colour.emplace_back(std::move(*profile));
    return header;
}

bool TiffDecoder::openRows(std::uint16_t planes) {
    for (std::uint16_t plane = 0; plane < planes; ++plane) {
        const TiffReader* reader = plane == 0 ? readers_.front().get() : open();
        if (reader == nullptr) return false;
        if (convertedByLibrary_)
            rows_.push_back(tiffConvertedRows(*reader, directory_.size));
        else if (TIFFIsTiled(reader->library()) != 0)
            rows_.push_back(tiffTileRows(*reader, directory_.size, plane));
        else
            rows_.push_back(tiffStripRows(*reader, directory_.size, plane));
        if (!rows_.back()) return false;
    }
    return true;
}

bool TiffDecoder::readPixels(PixelSink& sink) {
    const bool planar = layout_.interleaved == 1;
    if (!openRows(static_cast<std::uint16_t>(planar ? layout_.used() : 1))) return false;
    const Size size = directory_.size;
    RowsInOrder handedOver(sink, size, layout_.format());
    TiffSamples samples(std::move(layout_), size.width);
    std::vector<TiffStoredRows> stored(rows_.size());
    for (std::uint32_t y = 0; y < size.height; y += stored.front().count) {
        for (std::size_t plane = 0; plane < rows_.size(); ++plane) {
            stored[plane] = rows_[plane]->next(rowsPerBlock(size.width));
            const std::uint32_t count = stored[plane].count;
            if (count == 0 || count != stored.front().count) return false;
        }
        handedOver.take(samples.rows(stored), stored.front().count);
    }
    return true;
}

} // namespace

void prepareTiff() {
    if (libdeflate_adler32 != nullptr) libdeflate_adler32(1, "", 1);
}

std::unique_ptr<Decoder> openTiff(ByteSource& file) { return std::make_unique<TiffDecoder>(file); }

} // namespace sorvane::decoder
