#include "decoder/formats/jpeg2000/jpeg2000.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include <openjpeg.h>

#include "decoder/formats/jpeg2000/jpeg2000_codestream.h"
#include "decoder/formats/jpeg2000/jpeg2000_cost.h"
#include "decoder/formats/jpeg2000/jpeg2000_tile_parts.h"
#include "decoder/formats/sample_scaling.h"
#include "decoder/formats/whole_rows.h"
#include "decoder/input/buffered_file.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

using OpenjpegCodec = std::unique_ptr<opj_codec_t, Release<opj_destroy_codec>>;
using Stream = std::unique_ptr<opj_stream_t, Release<opj_stream_destroy>>;
using Image = std::unique_ptr<opj_image_t, Release<opj_image_destroy>>;

constexpr unsigned maxBits = 16;

/// The file's bytes as a stream for OpenJPEG.
struct Input {
    std::span<const std::uint8_t> bytes;
    std::size_t offset = 0;

    static OPJ_SIZE_T read(void* to, OPJ_SIZE_T count, void* data) {
        auto& input = *static_cast<Input*>(data);
        count = std::min(count, input.bytes.size() - input.offset);
        if (count == 0) return static_cast<OPJ_SIZE_T>(-1);
        std::memcpy(to, input.bytes.data() + input.offset, count);
        input.offset += count;
        return count;
    }
    static OPJ_OFF_T skip(OPJ_OFF_T count, void* data) {
        auto& input = *static_cast<Input*>(data);
        const auto left = static_cast<OPJ_OFF_T>(input.bytes.size() - input.offset);
        if (count < 0 || left == 0) return -1;
        count = std::min(count, left);
        input.offset += static_cast<std::size_t>(count);
        return count;
    }
    static OPJ_BOOL seek(OPJ_OFF_T offset, void* data) {
        auto& input = *static_cast<Input*>(data);
        if (offset < 0 || static_cast<std::size_t>(offset) > input.bytes.size()) return OPJ_FALSE;
        input.offset = static_cast<std::size_t>(offset);
        return OPJ_TRUE;
    }
};

Stream streamOf(Input& input) {
    Stream stream(opj_stream_default_create(OPJ_TRUE));
    if (!stream) return stream;
    opj_stream_set_user_data(stream.get(), &input, nullptr);
    opj_stream_set_user_data_length(stream.get(), input.bytes.size());
    opj_stream_set_read_function(stream.get(), Input::read);
    opj_stream_set_skip_function(stream.get(), Input::skip);
    opj_stream_set_seek_function(stream.get(), Input::seek);
    return stream;
}

class Jpeg2000Decoder final : public Decoder {
  public:
    explicit Jpeg2000Decoder(ByteSource& file) : file_(file, maxJpeg2000FileBytes) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    bool decode();
    bool checkChannels() const;
    bool chooseChannels();
    std::uint32_t sample(const opj_image_comp_t& channel, std::uint32_t x, std::uint32_t y) const;
    static void toRgb(std::span<std::uint32_t> pixel);
    void fillRow(std::uint32_t row, std::uint8_t* to) const;

    BufferedFile file_;
    Image image_;
    Size size_;
    SampleFormat format_;
    bool luma_ = false;
    bool premultiplied_ = false;
    std::vector<const opj_image_comp_t*> channels_;
};

bool Jpeg2000Decoder::decode() {
    Input input{file_.at(0, maxJpeg2000FileBytes)};
    const auto codestream = Jpeg2000Codestream::of(input.bytes);
    if (!codestream || !isWithinDecodingCost(*codestream) || !hasAllTileParts(*codestream))
        return false;
    const bool bare = !input.bytes.empty() && input.bytes.front() == 0xff;
    const OpenjpegCodec decoder(opj_create_decompress(bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
    const Stream stream = streamOf(input);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    if (!decoder || !stream || opj_setup_decoder(decoder.get(), &parameters) == OPJ_FALSE ||
        opj_decoder_set_strict_mode(decoder.get(), OPJ_TRUE) == OPJ_FALSE)
        return false;
    opj_image_t* image = nullptr;
    const bool read = opj_read_header(stream.get(), decoder.get(), &image) == OPJ_TRUE;
    image_.reset(image);
    if (!read || image->x1 <= image->x0 || image->y1 <= image->y0) return false;
    size_ = {image->x1 - image->x0, image->y1 - image->y0};
    return withinBudget(size_) && image->numcomps <= maxJpeg2000Channels && checkChannels() &&
           opj_decode(decoder.get(), stream.get(), image) == OPJ_TRUE && checkChannels();
}

// Only the first channel must have a sample for every pixel.
bool Jpeg2000Decoder::checkChannels() const {
    const std::span channels(image_->comps, image_->numcomps);
    return !channels.empty() && channels[0].dx == 1 && channels[0].dy == 1 &&
           channels[0].w == size_.width && channels[0].h == size_.height &&
           std::ranges::all_of(channels, [](const opj_image_comp_t& channel) {
               return channel.prec >= 1 && channel.prec <= maxBits && channel.dx > 0 &&
                      channel.dy > 0 && channel.w > 0 && channel.h > 0;
           });
}

// Puts the channels in the order of the samples.
bool Jpeg2000Decoder::chooseChannels() {
    const opj_image_comp_t* alpha = nullptr;
    for (const opj_image_comp_t& channel : std::span(image_->comps, image_->numcomps)) {
        if (channel.data == nullptr) return false;
        if (channel.alpha == 0)
            channels_.push_back(&channel);
        else if (alpha == nullptr)
            alpha = &channel;
    }
    const bool inks = image_->color_space == OPJ_CLRSPC_CMYK;
    if (alpha == nullptr && !inks && channels_.size() % 2 == 0 && !channels_.empty()) {
        alpha = channels_.back();
        channels_.pop_back();
    }
    const bool coloured = channels_.size() == 3;
    if (!coloured && channels_.size() != (inks ? 4 : 1)) return false;
    format_.channels = inks ? Channels::cmyk : channelsOf(coloured, alpha != nullptr);
    // Subsampled colours of an unspecified space can only be luma and chroma.
    luma_ = coloured && (image_->color_space == OPJ_CLRSPC_SYCC ||
                         (image_->color_space != OPJ_CLRSPC_SRGB && channels_[1]->dx > 1));
    if (alpha != nullptr && !inks) channels_.push_back(alpha);
    premultiplied_ = alpha != nullptr && alpha->alpha == 2;
    format_.sixteenBits = std::ranges::any_of(
        channels_, [](const opj_image_comp_t* channel) { return channel->prec > 8; });
    return true;
}

std::optional<PictureHeader> Jpeg2000Decoder::readHeader() {
    if (!decode() || !chooseChannels()) return std::nullopt;
    PictureHeader header;
    header.size = size_;
    header.samples = format_;
    const std::size_t length = image_->icc_profile_len;
    const bool profile = image_->icc_profile_buf != nullptr;
    switch (image_->color_space) {
    case OPJ_CLRSPC_UNSPECIFIED:
    case OPJ_CLRSPC_SRGB:
    case OPJ_CLRSPC_GRAY:
    case OPJ_CLRSPC_SYCC:
    case OPJ_CLRSPC_CMYK:
        break;
    default:
        if (!profile) return std::nullopt;
    }
    // OpenJPEG gives the parameters of CIELab as a profile of length 0.
    if (profile && (length == 0 || length > maxProfileBytes)) return std::nullopt;
    if (profile) {
        const std::span bytes(image_->icc_profile_buf, length);
        header.colour.emplace_back(IccProfile{{bytes.begin(), bytes.end()}});
    }
    return header;
}

// The sample of a pixel, unsigned, in the channel's own number of bits.
std::uint32_t Jpeg2000Decoder::sample(const opj_image_comp_t& channel, std::uint32_t x,
                                      std::uint32_t y) const {
    // A channel has samples where its step divides the coordinate.
    const auto index = [](std::uint32_t pixel, std::uint32_t origin, std::uint32_t step,
                          std::uint32_t count) {
        const std::uint32_t first = origin / step + (origin % step > 0 ? 1 : 0);
        const std::uint32_t nearest = (origin + pixel) / step;
        return std::size_t{std::min(nearest - std::min(nearest, first), count - 1)};
    };
    const std::size_t column = index(x, image_->x0, channel.dx, channel.w);
    const std::size_t row = index(y, image_->y0, channel.dy, channel.h);
    const auto full = static_cast<OPJ_INT32>((1U << channel.prec) - 1);
    const OPJ_INT32 bias = channel.sgnd != 0 ? static_cast<OPJ_INT32>(1U << (channel.prec - 1)) : 0;
    const OPJ_INT32 stored = std::clamp(channel.data[row * channel.w + column], -bias, full - bias);
    return static_cast<std::uint32_t>(stored + bias);
}

void Jpeg2000Decoder::toRgb(std::span<std::uint32_t> pixel) {
    constexpr double middle = 32'896; // 128 of 8 bits
    const double y = pixel[0];
    const double blue = pixel[1] - middle;
    const double red = pixel[2] - middle;
    const auto stored = [](double value) {
        return static_cast<std::uint32_t>(
            std::lround(std::clamp(value, 0.0, static_cast<double>(maxSample16))));
    };
    pixel[0] = stored(y + 1.402 * red);
    pixel[1] = stored(y - 0.344136 * blue - 0.714136 * red);
    pixel[2] = stored(y + 1.772 * blue);
}

void Jpeg2000Decoder::fillRow(std::uint32_t row, std::uint8_t* to) const {
    std::array<std::uint32_t, 4> samples;
    const auto pixel = std::span(samples).first(channels_.size());
    for (std::uint32_t x = 0; x < size_.width; ++x) {
        for (std::size_t i = 0; i < pixel.size(); ++i)
            pixel[i] = scaledTo16Bits(sample(*channels_[i], x, row), channels_[i]->prec);
        if (luma_) toRgb(pixel);
        if (premultiplied_) unpremultiply(pixel);
        to = putPixel(pixel, format_.sixteenBits, to);
    }
}

bool Jpeg2000Decoder::readPixels(PixelSink& sink) {
    takeRows(sink, size_, format_, [this](auto row, auto* to) { fillRow(row, to); });
    return true;
}

} // namespace

std::unique_ptr<Decoder> openJpeg2000(ByteSource& file) {
    return std::make_unique<Jpeg2000Decoder>(file);
}

} // namespace sorvane::decoder
