#include "decoder/formats/png/png.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include <png.h>

#include "decoder/formats/exif.h"
#include "decoder/formats/longjmp_guard.h"
#include "decoder/formats/png/png_metadata.h"
#include "decoder/formats/png/png_rows.h"
#include "decoder/formats/png/png_trailer.h"

namespace sorvane::decoder {

namespace {

// The chunks of colours and orientation are read here and not by libpng, which has another order of
// precedence among them. Each name with its closing zero, as libpng wants them.
constexpr std::string_view ownChunks("iCCP\0sRGB\0gAMA\0cHRM\0eXIf\0", 25);
constexpr std::size_t ownChunkStride = 5;
constexpr std::size_t ownChunkCount = ownChunks.size() / ownChunkStride;

// A chunk of these names is kept in memory only up to this size, twice that of the largest profile.
constexpr png_alloc_size_t maxKeptChunk = 2 * maxProfileBytes;

// A picture has one chunk of each name; libpng's count stops two short of the number it is given.
// Repeats would otherwise fill the memory.
constexpr png_uint_32 maxChunks = 2 * ownChunkCount + 2;

// Each side may use up the whole budget; the product is checked before pixel memory is taken.
constexpr png_uint_32 maxSide = pixelBudget;

class PngDecoder final : public Decoder {
  public:
    explicit PngDecoder(ByteSource& file) : file_(file) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
        attempt([this] {
            info_ = png_create_info_struct(png_);
            png_set_read_fn(png_, this, readBytes);
        });
    }
    ~PngDecoder() override { png_destroy_read_struct(&png_, &info_, nullptr); }

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;
    std::optional<Orientation> lateOrientation() const override {
        return orientationKnown_ ? std::nullopt : lateOrientation_;
    }

  private:
    // Every call into the library that may fail goes through here.
    template<class Call>
    bool attempt(const Call& call) {
        return png_ != nullptr && completes(png_jmpbuf(png_), call);
    }

    [[noreturn]] static void onError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
    static void onWarning(png_structp png, png_const_charp message);
    static void readBytes(png_structp png, png_bytep to, std::size_t count);

    void noteChunk(std::span<const std::uint8_t> header);
    void noteDamage(std::string_view warning);
    std::vector<PngChunk> keptChunks() const;
    PngPalette palette() const;
    PngSampleForm sampleForm() const;

    ByteSource& file_;
    PngChunkHeader chunkHeader_{};
    bool pixelsSeen_ = false;
    bool paletteSeen_ = false; // before the pixels
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::array<bool, ownChunkCount> ownChunkDamaged_{};
    bool dataDamaged_ = false;
    Size size_;
    bool interlaced_ = false;
    Channels channels_ = Channels::rgb;
    bool orientationKnown_ = false;
    std::optional<Orientation> lateOrientation_;
};

void PngDecoder::readBytes(png_structp png, png_bytep to, std::size_t count) {
    auto* decoder = static_cast<PngDecoder*>(png_get_io_ptr(png));
    if (decoder->file_.read({to, count}) != count) png_error(png, "the file ends here");
    if (png_get_io_state(png) == (PNG_IO_READING | PNG_IO_CHUNK_HDR))
        decoder->noteChunk({to, count});
}

// The library reads a chunk's header in one piece. Its earlier releases reject a second palette,
// the later ones ignore it.
void PngDecoder::noteChunk(std::span<const std::uint8_t> header) {
    if (header.size() != chunkHeader_.size()) return;
    std::ranges::copy(header, chunkHeader_.begin());
    const std::string_view name(reinterpret_cast<const char*>(&header[4]), 4);
    pixelsSeen_ = pixelsSeen_ || name == "IDAT";
    if (name != "PLTE") return;
    dataDamaged_ = dataDamaged_ || paletteSeen_;
    paletteSeen_ = paletteSeen_ || !pixelsSeen_;
}

void PngDecoder::onWarning(png_structp png, png_const_charp message) {
    static_cast<PngDecoder*>(png_get_error_ptr(png))->noteDamage(message);
}

// Two kinds of damage before the pixels do not stop libpng, and its warnings are their only sign: a
// wrong checksum of an ancillary chunk, which it keeps all the same; and in its later releases one
// of a palette that the pixels do not need.
void PngDecoder::noteDamage(std::string_view warning) {
    if (!warning.ends_with(": CRC error")) return;
    dataDamaged_ = dataDamaged_ || warning.starts_with("PLTE");
    for (std::size_t i = 0; i < ownChunkCount; ++i)
        if (warning.starts_with(ownChunks.substr(i * ownChunkStride, 4)))
            ownChunkDamaged_[i] = true;
}

std::optional<PictureHeader> PngDecoder::readHeader() {
    const bool read = attempt([this] {
        png_set_user_limits(png_, maxSide, maxSide);
        png_set_chunk_malloc_max(png_, maxKeptChunk);
        png_set_chunk_cache_max(png_, maxChunks);
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_ALWAYS,
                                    reinterpret_cast<png_const_bytep>(ownChunks.data()),
                                    static_cast<int>(ownChunkCount));
        png_read_info(png_, info_);
    });
    if (!read || dataDamaged_) return std::nullopt;

    size_ = {png_get_image_width(png_, info_), png_get_image_height(png_, info_)};
    interlaced_ = png_get_interlace_type(png_, info_) == PNG_INTERLACE_ADAM7;
    const unsigned type = png_get_color_type(png_, info_);
    const bool transparent =
        (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
    channels_ = channelsOf((type & PNG_COLOR_MASK_COLOR) != 0, transparent);

    const std::vector<PngChunk> chunks = keptChunks();
    const auto orientation = pngOrientation(chunks);
    orientationKnown_ = orientation.has_value();
    PictureHeader header;
    header.size = size_;
    header.orientation = orientation.value_or(Orientation::upright);
    header.samples.channels = channels_;
    header.samples.sixteenBits = png_get_bit_depth(png_, info_) == 16;
    header.rowsInOrder = !interlaced_;
    header.colour = pngColour(chunks);
    return header;
}

PngPalette PngDecoder::palette() const {
    PngPalette palette;
    palette.colours.fill({0, 0, 0, 255});
    png_colorp colours = nullptr;
    png_bytep alphas = nullptr;
    int count = 0;
    png_get_PLTE(png_, info_, &colours, &count);
    for (int i = 0; i < count; ++i)
        palette.colours[static_cast<std::size_t>(i)] = {colours[i].red, colours[i].green,
                                                        colours[i].blue, 255};
    count = 0;
    png_get_tRNS(png_, info_, &alphas, &count, nullptr);
    for (int i = 0; i < count; ++i) palette.colours[static_cast<std::size_t>(i)][3] = alphas[i];
    palette.transparent = hasAlpha(channels_);
    return palette;
}

PngSampleForm PngDecoder::sampleForm() const {
    PngSampleForm form;
    form.depth = png_get_bit_depth(png_, info_);
    form.count = png_get_channels(png_, info_);
    if (png_get_color_type(png_, info_) == PNG_COLOR_TYPE_PALETTE) {
        form.palette = palette();
        return form;
    }
    png_color_16p key = nullptr;
    png_get_tRNS(png_, info_, nullptr, nullptr, &key);
    if (key == nullptr) return form;
    form.transparent = {key->red, key->green, key->blue};
    if (form.count == 1) form.transparent->front() = key->gray;
    return form;
}

// libpng has read up to the data of the first pixel chunk, and reads nothing more.
bool PngDecoder::readPixels(PixelSink& sink) {
    const PngRowForm form{size_, sampleForm(), interlaced_};
    PngChunks chunks(file_, chunkHeader_);
    PngInflater data(chunks);
    if (!readPngRows(data, form, sink)) return false;
    const auto trailer = readPngTrailer(chunks, paletteSeen_, maxKeptChunk);
    if (!trailer) return false;
    constexpr std::size_t index = ownChunks.find("eXIf") / ownChunkStride;
    if (trailer->exif && !trailer->exifDamaged && !ownChunkDamaged_[index])
        lateOrientation_ = exifOrientation(*trailer->exif);
    return true;
}

std::vector<PngChunk> PngDecoder::keptChunks() const {
    png_unknown_chunkp kept = nullptr;
    const int count = png_get_unknown_chunks(png_, info_, &kept);
    std::vector<PngChunk> chunks;
    for (int i = 0; i < count; ++i) {
        const std::string_view name(reinterpret_cast<const char*>(kept[i].name), 4);
        const std::size_t index = ownChunks.find(name) / ownChunkStride;
        if (index < ownChunkCount && !ownChunkDamaged_[index])
            chunks.push_back({name, {kept[i].data, kept[i].size}});
    }
    return chunks;
}

} // namespace

std::unique_ptr<Decoder> openPng(ByteSource& file) { return std::make_unique<PngDecoder>(file); }

} // namespace sorvane::decoder
