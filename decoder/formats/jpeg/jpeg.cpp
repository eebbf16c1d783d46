#include "decoder/formats/jpeg/jpeg.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <jpeglib.h>

#include "decoder/formats/exif.h"
#include "decoder/formats/jpeg/icc_pieces.h"
#include "decoder/formats/longjmp_guard.h"

namespace sorvane::decoder {

namespace {

using namespace std::string_view_literals;

constexpr int exifMarker = JPEG_APP0 + 1;
constexpr int iccMarker = JPEG_APP0 + 2;
constexpr std::string_view iccName = "ICC_PROFILE\0"sv;
constexpr std::size_t maxMarkerLength = 65'533;

// A channel has 64 coefficients of 14 bits, each bit sent in a scan of its own at worst: no picture
// needs more. Each scan costs the time of all pixels, so that a small file could otherwise keep the
// decoder busy for minutes.
constexpr int maxScansPerChannel = 64 * 14;

J_COLOR_SPACE outputSpace(int channels) {
    if (channels == 1) return JCS_GRAYSCALE;
    return channels == 4 ? JCS_CMYK : JCS_RGB;
}

// Adobe's programs store CMYK inverted, and other writers do the same, with Adobe's marker or
// without it; other readers do not look for it either.
void invertInks(std::span<std::uint8_t> samples) {
    for (std::uint8_t& sample : samples) sample = static_cast<std::uint8_t>(255 - sample);
}

class JpegDecoder final : public Decoder {
  public:
    explicit JpegDecoder(ByteSource& file);
    ~JpegDecoder() override { jpeg_destroy_decompress(&jpeg_); }

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    // Every call into the library goes through here.
    template<class Call>
    bool attempt(const Call& call) {
        return completes(escape_, call);
    }

    // For calls that libjpeg suspends when the file ends inside a segment: the call is made once
    // more, and finds the end of the picture instead of that segment.
    template<class Call>
    bool proceed(const Call& call) {
        return attempt([&] {
            if (call()) return;
            jpeg_.unread_marker = JPEG_EOI;
            if (!call()) giveUp();
        });
    }

    static JpegDecoder& self(j_common_ptr jpeg) {
        return *static_cast<JpegDecoder*>(jpeg->client_data);
    }
    static JpegDecoder& self(j_decompress_ptr jpeg) {
        return *static_cast<JpegDecoder*>(jpeg->client_data);
    }
    [[noreturn]] void giveUp() { std::longjmp(escape_, 1); }
    [[noreturn]] static void onError(j_common_ptr jpeg) { self(jpeg).giveUp(); }
    static void onMessage(j_common_ptr, int) {}
    static void onProgress(j_common_ptr jpeg);
    static void noSetup(j_decompress_ptr) {}
    static boolean fillInput(j_decompress_ptr jpeg);
    static void skipInput(j_decompress_ptr jpeg, long count);
    static boolean takeMarker(j_decompress_ptr jpeg);

    bool readInput(std::span<std::uint8_t> to);
    void useMarker(int marker, std::span<const std::uint8_t> body);

    ByteSource& file_;
    jpeg_decompress_struct jpeg_{};
    jpeg_error_mgr errors_{};
    jpeg_source_mgr source_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf escape_;
    std::optional<Orientation> orientation_;
    IccPieces profile_;
    std::array<std::uint8_t, maxMarkerLength> marker_;
};

JpegDecoder::JpegDecoder(ByteSource& file) : file_(file) {
    jpeg_.err = jpeg_std_error(&errors_);
    errors_.error_exit = onError;
    errors_.emit_message = onMessage;
    jpeg_.client_data = this;
    attempt([this] { jpeg_create_decompress(&jpeg_); });
    source_.init_source = noSetup;
    source_.fill_input_buffer = fillInput;
    source_.skip_input_data = skipInput;
    source_.resync_to_restart = jpeg_resync_to_restart;
    source_.term_source = noSetup;
    jpeg_.src = &source_;
    progress_.progress_monitor = onProgress;
    jpeg_.progress = &progress_;
}

void JpegDecoder::onProgress(j_common_ptr jpeg) {
    JpegDecoder& decoder = self(jpeg);
    if (decoder.jpeg_.input_scan_number > maxScansPerChannel * decoder.jpeg_.num_components)
        decoder.giveUp();
}

// A file that ends too early gets the marker that ends a picture, as often as more is asked for.
// Inside a segment the marker would be read as the segment's content, and the picture would fail:
// there the call is suspended, and `proceed` ends the picture where the segment began.
boolean JpegDecoder::fillInput(j_decompress_ptr jpeg) {
    static constexpr std::array<JOCTET, 2> endOfImage = {0xff, JPEG_EOI};
    std::span<const std::uint8_t> piece = self(jpeg).file_.takePiece();
    if (piece.empty() && jpeg->unread_marker != 0) return FALSE;
    if (piece.empty()) piece = endOfImage;
    jpeg->src->next_input_byte = piece.data();
    jpeg->src->bytes_in_buffer = piece.size();
    return TRUE;
}

void JpegDecoder::skipInput(j_decompress_ptr jpeg, long count) {
    jpeg_source_mgr& source = *jpeg->src;
    auto left = static_cast<std::size_t>(std::max(count, 0L));
    while (left > source.bytes_in_buffer) {
        left -= source.bytes_in_buffer;
        source.bytes_in_buffer = 0;
        if (fillInput(jpeg) == FALSE) return;
    }
    source.next_input_byte += left;
    source.bytes_in_buffer -= left;
}

bool JpegDecoder::readInput(std::span<std::uint8_t> to) {
    while (!to.empty()) {
        if (source_.bytes_in_buffer == 0 && fillInput(&jpeg_) == FALSE) return false;
        const std::size_t count = std::min(to.size(), source_.bytes_in_buffer);
        std::memcpy(to.data(), source_.next_input_byte, count);
        source_.next_input_byte += count;
        source_.bytes_in_buffer -= count;
        to = to.subspan(count);
    }
    return true;
}

// Instead of libjpeg's own keeping of markers, which has no bound on their number.
boolean JpegDecoder::takeMarker(j_decompress_ptr jpeg) {
    JpegDecoder& decoder = self(jpeg);
    std::array<std::uint8_t, 2> field;
    if (!decoder.readInput(field)) return FALSE;
    // A length that does not even count itself stands for an empty segment, as elsewhere in
    // libjpeg.
    const std::size_t length = std::size_t{field[0]} << 8 | field[1];
    const auto body =
        std::span(decoder.marker_).first(std::max(length, field.size()) - field.size());
    if (!decoder.readInput(body)) return FALSE;
    decoder.useMarker(jpeg->unread_marker, body);
    return TRUE;
}

void JpegDecoder::useMarker(int marker, std::span<const std::uint8_t> body) {
    const std::string_view text(reinterpret_cast<const char*>(body.data()), body.size());
    if (marker == exifMarker && !orientation_ && text.starts_with(exifPrefix))
        orientation_ = exifOrientation(body.subspan(exifPrefix.size()));
    if (marker == iccMarker && text.starts_with(iccName))
        profile_.add(body.subspan(iccName.size()));
}

std::optional<PictureHeader> JpegDecoder::readHeader() {
    const bool read = attempt([this] {
        if (jpeg_.marker == nullptr) giveUp(); // there was no memory to begin with
        jpeg_set_marker_processor(&jpeg_, exifMarker, takeMarker);
        jpeg_set_marker_processor(&jpeg_, iccMarker, takeMarker);
        if (jpeg_read_header(&jpeg_, TRUE) != JPEG_HEADER_OK) giveUp();
    });
    if (!read) return std::nullopt;
    PictureHeader header;
    switch (jpeg_.jpeg_color_space) {
    case JCS_GRAYSCALE:
        header.samples.channels = Channels::grey;
        break;
    case JCS_YCbCr:
    case JCS_RGB:
        header.samples.channels = Channels::rgb;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        header.samples.channels = Channels::cmyk;
        break;
    default:
        return std::nullopt;
    }
    header.size = {jpeg_.image_width, jpeg_.image_height};
    header.orientation = orientation_.value_or(Orientation::upright);
    if (auto profile = profile_.profile()) header.colour.emplace_back(std::move(*profile));
    return header;
}

bool JpegDecoder::readPixels(PixelSink& sink) {
    const bool ready = proceed([this] {
        jpeg_.out_color_space = outputSpace(jpeg_.num_components);
        // The choices of a standard decoder at its defaults. Block smoothing among them: it changes
        // only progressive pictures whose last scans are missing, and of those it makes what other
        // decoders make of them.
        jpeg_.dct_method = JDCT_ISLOW;
        jpeg_.do_fancy_upsampling = TRUE;
        jpeg_.do_block_smoothing = TRUE;
        return jpeg_start_decompress(&jpeg_) == TRUE;
    });
    if (!ready || jpeg_.output_width != jpeg_.image_width ||
        jpeg_.output_height != jpeg_.image_height)
        return false;
    std::vector<std::uint8_t> row(std::size_t{jpeg_.output_width} *
                                  static_cast<std::size_t>(jpeg_.output_components));
    JSAMPROW rows[] = {row.data()};
    while (jpeg_.output_scanline < jpeg_.output_height) {
        const std::uint32_t y = jpeg_.output_scanline;
        if (!proceed([&] { return jpeg_read_scanlines(&jpeg_, rows, 1) == 1; })) return false;
        if (jpeg_.out_color_space == JCS_CMYK) invertInks(row);
        sink.take(PixelRun::wholeRow(y, jpeg_.output_width, row.data()));
    }
    return true;
}

} // namespace

// Nothing public asks for less than the beginning of a picture, and to write one takes no file.
void prepareJpeg() {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    std::uint8_t* file = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &file, &size);
    jpeg.image_width = 1;
    jpeg.image_height = 1;
    jpeg.input_components = 1;
    jpeg.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    jpeg_destroy_compress(&jpeg);
    std::free(file);
}

std::unique_ptr<Decoder> openJpeg(ByteSource& file) { return std::make_unique<JpegDecoder>(file); }

} // namespace sorvane::decoder
