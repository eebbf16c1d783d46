#include "tests/decoder/formats/png/libpng_reader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

#include <png.h>

#include "decoder/formats/longjmp_guard.h"
#include "decoder/formats/png/png_metadata.h"
#include "identity/pixel_budget.h"

using namespace sorvane::decoder;

namespace sorvane::test {

namespace {

// The chunks of colours and orientation, which are kept as they are.
constexpr std::array<std::string_view, 5> keptNames = {"iCCP", "sRGB", "gAMA", "cHRM", "eXIf"};

// What is allowed to chunks and their number is allowed to those of the reader under test as well.
constexpr png_alloc_size_t maxKeptChunk = 2 * maxProfileBytes;
constexpr png_uint_32 maxChunks = 2 * keptNames.size() + 2;

// What libpng warns of in the data of a picture that is whole.
constexpr std::array<std::string_view, 4> harmless = {
    "IDAT: Extra compressed data",
    "IDAT: Too much image data",
    "IDAT: Too many IDATs found",
    "IDAT: chunk data is too large",
};

class LibpngReader final : public Decoder {
  public:
    explicit LibpngReader(ByteSource& file)
        : file_(file),
          png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning)),
          info_(png_create_info_struct(png_)),
          end_(png_create_info_struct(png_)) {
        png_set_read_fn(png_, this, readBytes);
        // Some writers declare a smaller window than they use.
        png_set_option(png_, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);
        png_set_user_limits(png_, pixelBudget, pixelBudget);
        png_set_chunk_malloc_max(png_, maxKeptChunk);
        png_set_chunk_cache_max(png_, maxChunks);
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        for (const std::string_view name : keptNames) treat(name, PNG_HANDLE_CHUNK_ALWAYS);
    }
    ~LibpngReader() override { png_destroy_read_struct(&png_, &info_, &end_); }

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;
    std::optional<Orientation> lateOrientation() const override { return lateOrientation_; }

  private:
    template<class Call>
    bool attempt(const Call& call) {
        return completes(png_jmpbuf(png_), call) && !damaged_;
    }

    [[noreturn]] static void onError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
    static void onWarning(png_structp png, png_const_charp message);
    static void readBytes(png_structp png, png_bytep to, std::size_t count);

    void treat(std::string_view name, int how);
    void noteChunk(std::string_view name);
    std::vector<PngChunk> keptChunks(png_infop info) const;
    Channels declaredChannels() const;
    void makeRows();

    ByteSource& file_;
    png_structp png_;
    png_infop info_;
    png_infop end_;
    Channels channels_ = Channels::rgb;
    bool orientationKnown_ = false;
    std::optional<Orientation> lateOrientation_;
    bool damaged_ = false;
    bool pixelsSeen_ = false;
    bool paletteSeen_ = false; // before the pixels
    std::vector<std::string_view> damagedNames_;
    std::vector<std::uint8_t> samples_;
    std::vector<png_bytep> rows_;
};

// Each name with its closing zero.
void LibpngReader::treat(std::string_view name, int how) {
    png_set_keep_unknown_chunks(png_, how, reinterpret_cast<png_const_bytep>(name.data()), 1);
}

// The library reads a chunk's header in one piece.
void LibpngReader::readBytes(png_structp png, png_bytep to, std::size_t count) {
    auto* reader = static_cast<LibpngReader*>(png_get_io_ptr(png));
    if (reader->file_.read({to, count}) != count) png_error(png, "the file ends here");
    if (png_get_io_state(png) == (PNG_IO_READING | PNG_IO_CHUNK_HDR) && count == 8)
        reader->noteChunk({reinterpret_cast<const char*>(to) + 4, 4});
}

// A second palette is rejected by earlier releases only.
void LibpngReader::noteChunk(std::string_view name) {
    if (name == "IDAT") pixelsSeen_ = true;
    if (name != "PLTE") return;
    damaged_ = damaged_ || paletteSeen_;
    paletteSeen_ = paletteSeen_ || !pixelsSeen_;
}

// Three kinds of damage are known by their warnings alone: a wrong checksum of an ancillary chunk,
// which is kept all the same; in later releases one of a palette that the pixels do not need; and
// an error in the compressed data after the last pixel, in their checksum above all. The data are
// inflated no further than the piece in which the pixels end, or the one after it.
void LibpngReader::onWarning(png_structp png, png_const_charp message) {
    auto* reader = static_cast<LibpngReader*>(png_get_error_ptr(png));
    const std::string_view warning(message);
    const bool failsChecksum = warning.ends_with(": CRC error");
    if (warning.starts_with("IDAT: ") && std::ranges::find(harmless, warning) == harmless.end())
        reader->damaged_ = true;
    if (warning.starts_with("PLTE") && failsChecksum) reader->damaged_ = true;
    for (const std::string_view name : keptNames)
        if (warning.starts_with(name) && failsChecksum) reader->damagedNames_.push_back(name);
}

std::vector<PngChunk> LibpngReader::keptChunks(png_infop info) const {
    png_unknown_chunkp kept = nullptr;
    const int count = png_get_unknown_chunks(png_, info, &kept);
    std::vector<PngChunk> chunks;
    for (int i = 0; i < count; ++i) {
        const std::string_view name(reinterpret_cast<const char*>(kept[i].name), 4);
        if (std::ranges::find(damagedNames_, name) == damagedNames_.end())
            chunks.push_back({name, {kept[i].data, kept[i].size}});
    }
    return chunks;
}

Channels LibpngReader::declaredChannels() const {
    const unsigned type = png_get_color_type(png_, info_);
    const bool transparent =
        (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
    return channelsOf((type & PNG_COLOR_MASK_COLOR) != 0, transparent);
}

std::optional<PictureHeader> LibpngReader::readHeader() {
    if (!attempt([this] { png_read_info(png_, info_); })) return std::nullopt;
    const std::vector<PngChunk> chunks = keptChunks(info_);
    const auto orientation = pngOrientation(chunks);
    orientationKnown_ = orientation.has_value();
    channels_ = declaredChannels();
    PictureHeader header;
    header.size = {png_get_image_width(png_, info_), png_get_image_height(png_, info_)};
    header.orientation = orientation.value_or(Orientation::upright);
    header.samples.channels = channels_;
    header.samples.sixteenBits = png_get_bit_depth(png_, info_) == 16;
    header.rowsInOrder = png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE;
    header.colour = pngColour(chunks);
    return header;
}

void LibpngReader::makeRows() {
    const std::size_t rowBytes = png_get_rowbytes(png_, info_);
    rows_.resize(png_get_image_height(png_, info_));
    samples_.resize(rows_.size() * rowBytes);
    for (std::size_t y = 0; y < rows_.size(); ++y) rows_[y] = &samples_[y * rowBytes];
}

bool LibpngReader::readPixels(PixelSink& sink) {
    const bool ready = attempt([this] {
        // Palette to RGB, low depths to 8 bits by exact scaling, tRNS to alpha after a comparison
        // at the file's own depth.
        png_set_expand(png_);
        if (std::endian::native == std::endian::little) png_set_swap(png_);
        png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
    });
    if (!ready || png_get_channels(png_, info_) != channelCount(channels_)) return false;
    makeRows();
    const bool whole = attempt([this] {
        png_read_image(png_, rows_.data());
        // After the pixels only the orientation counts, and it has room of its own.
        for (const std::string_view name : keptNames)
            if (name != "eXIf") treat(name, PNG_HANDLE_CHUNK_NEVER);
        png_set_chunk_cache_max(png_, maxChunks);
        png_read_end(png_, end_);
    });
    if (!whole) return false;
    if (!orientationKnown_) lateOrientation_ = pngOrientation(keptChunks(end_));
    sink.take(PixelRun::wholeRows(0, png_get_image_height(png_, info_),
                                  png_get_image_width(png_, info_), samples_.data()));
    return true;
}

} // namespace

std::unique_ptr<Decoder> openPngByLibpng(ByteSource& file) {
    return std::make_unique<LibpngReader>(file);
}

} // namespace sorvane::test
