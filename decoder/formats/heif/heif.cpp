#include "decoder/formats/heif/heif.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <libheif/heif.h>

#include "decoder/formats/heif/av1_decoder.h"
#include "decoder/formats/heif/heif_input.h"
#include "decoder/formats/heif/heif_plugin_image.h"
#include "decoder/formats/heif/hevc_decoder.h"
#include "decoder/formats/heif/nclx_colour.h"
#include "decoder/formats/library_versions.h"
#include "decoder/formats/sample_scaling.h"
#include "decoder/formats/whole_rows.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

using Context = std::unique_ptr<heif_context, Release<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Release<heif_image_handle_release>>;
using Options = std::unique_ptr<heif_decoding_options, Release<heif_decoding_options_free>>;

bool good(const heif_error& error) { return error.code == heif_error_Ok; }

Size sizeOf(int width, int height) {
    return {static_cast<std::uint32_t>(std::max(width, 0)),
            static_cast<std::uint32_t>(std::max(height, 0))};
}

/// One channel of the decoded picture.
struct Plane {
    const std::uint8_t* samples = nullptr;
    std::size_t stride = 0;
    unsigned bits = 0;

    std::uint32_t wide(std::size_t row, std::size_t column) const {
        const std::uint8_t* line = samples + row * stride;
        if (bits <= 8) return scaledTo16Bits(line[column], bits);
        std::uint16_t sample;
        std::memcpy(&sample, line + 2 * column, sizeof sample);
        return scaledTo16Bits(sample, bits);
    }
};

class HeifDecoder final : public Decoder {
  public:
    explicit HeifDecoder(ByteSource& file) : file_(file, maxHeifFileBytes) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    bool openPrimary();
    bool decode();
    bool takePlanes();
    std::optional<ColourStatements> colours() const;
    void fillRow(std::uint32_t row, std::uint8_t* to) const;

    HeifInput file_;
    Context context_;
    Handle primary_;
    Image image_;
    Size size_;
    SampleFormat format_;
    bool premultiplied_ = false;
    std::array<Plane, 4> planes_;
};

bool HeifDecoder::openPrimary() {
    static const bool registered = good(heif_register_decoder_plugin(&av1Decoder)) &&
                                   good(heif_register_decoder_plugin(&hevcDecoder));
    context_.reset(heif_context_alloc());
    if (!registered || !context_) return false;
    // The budget alone decides: a side may be as long as the other one lets it.
    heif_context_set_maximum_image_size_limit(context_.get(), int{pixelBudget});
    heif_context_set_max_decoding_threads(context_.get(), 0);
    heif_image_handle* primary = nullptr;
    if (!file_.readBoxes(context_.get()) ||
        !good(heif_context_get_primary_image_handle(context_.get(), &primary)))
        return false;
    primary_.reset(primary);
    return true;
}

bool HeifDecoder::decode() {
    const Options options(heif_decoding_options_alloc());
    auto sizes = file_.codedSizes();
    if (!options || !sizes) return false;
    const ExpectedSizes expected(std::move(*sizes));
    options->strict_decoding = 1;
    setColourOptions(*options);
    const auto [colours, chroma] = decodedForm(primary_.get());
    heif_image* image = nullptr;
    if (!good(heif_decode_image(primary_.get(), &image, colours, chroma, options.get())))
        return false;
    image_.reset(image);
    size_ = sizeOf(heif_image_get_primary_width(image), heif_image_get_primary_height(image));
    return withinBudget(size_) && takePlanes();
}

// The channels in the order of the samples, each of the whole picture's size.
bool HeifDecoder::takePlanes() {
    const auto colours = heif_image_get_colorspace(image_.get());
    const bool coloured = colours == heif_colorspace_RGB;
    if (!coloured && colours != heif_colorspace_monochrome) return false;
    const bool alpha = heif_image_has_channel(image_.get(), heif_channel_Alpha) != 0;
    format_.channels = channelsOf(coloured, alpha);
    std::vector<heif_channel> channels = {heif_channel_Y};
    if (coloured) channels = {heif_channel_R, heif_channel_G, heif_channel_B};
    if (alpha) channels.push_back(heif_channel_Alpha);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const Size size = sizeOf(heif_image_get_width(image_.get(), channels[i]),
                                 heif_image_get_height(image_.get(), channels[i]));
        const int bits = heif_image_get_bits_per_pixel_range(image_.get(), channels[i]);
        int stride = 0;
        const std::uint8_t* samples =
            heif_image_get_plane_readonly(image_.get(), channels[i], &stride);
        if (size != size_ || bits < 1 || bits > 16 || samples == nullptr) return false;
        planes_[i] = {samples, static_cast<std::size_t>(stride), static_cast<unsigned>(bits)};
        format_.sixteenBits = format_.sixteenBits || bits > 8;
    }
    premultiplied_ = alpha && heif_image_is_premultiplied_alpha(image_.get()) != 0;
    return true;
}

// A profile takes precedence over nclx numbers, and the item's over those of the coded picture.
std::optional<ColourStatements> HeifDecoder::colours() const {
    const std::size_t length = heif_image_handle_get_raw_color_profile_size(primary_.get());
    if (length > 0 && length <= maxProfileBytes) {
        IccProfile profile{std::vector<std::uint8_t>(length)};
        if (good(heif_image_handle_get_raw_color_profile(primary_.get(), profile.bytes.data())))
            return ColourStatements{std::move(profile)};
    }
    // Numbers that libheif does not know fail the call, and may still have to be freed.
    heif_color_profile_nclx* said = nullptr;
    heif_error answer = heif_image_handle_get_nclx_color_profile(primary_.get(), &said);
    if (answer.code == heif_error_Color_profile_does_not_exist)
        answer = heif_image_get_nclx_color_profile(image_.get(), &said);
    const Nclx owner(said);
    if (answer.code == heif_error_Color_profile_does_not_exist) return ColourStatements{};
    if (!good(answer)) return std::nullopt;
    auto statement = nclxColour(said->color_primaries, said->transfer_characteristics);
    if (!statement) return std::nullopt;
    return ColourStatements{std::move(*statement)};
}

std::optional<PictureHeader> HeifDecoder::readHeader() {
    if (!openPrimary()) return std::nullopt;
    const Size declared = sizeOf(heif_image_handle_get_ispe_width(primary_.get()),
                                 heif_image_handle_get_ispe_height(primary_.get()));
    const Size upright = sizeOf(heif_image_handle_get_width(primary_.get()),
                                heif_image_handle_get_height(primary_.get()));
    // Only decoding gives the exact upright size, since libheif may round a clipping.
    if (!withinBudget(declared) || !withinBudget(upright) || !decode()) return std::nullopt;
    auto colour = colours();
    if (!colour) return std::nullopt;
    PictureHeader header;
    header.size = size_;
    header.declared = declared;
    header.samples = format_;
    header.colour = std::move(*colour);
    return header;
}

void HeifDecoder::fillRow(std::uint32_t row, std::uint8_t* to) const {
    std::array<std::uint32_t, 4> samples;
    const auto pixel = std::span(samples).first(channelCount(format_.channels));
    for (std::size_t x = 0; x < size_.width; ++x) {
        for (std::size_t i = 0; i < pixel.size(); ++i) pixel[i] = planes_[i].wide(row, x);
        if (premultiplied_) unpremultiply(pixel);
        to = putPixel(pixel, format_.sixteenBits, to);
    }
}

bool HeifDecoder::readPixels(PixelSink& sink) {
    takeRows(sink, size_, format_, [this](auto row, auto* to) { fillRow(row, to); });
    return true;
}

} // namespace

void prepareHeif() {
    ::setenv("LIBHEIF_PLUGIN_PATH", "/dev/null", 1);
    heif_init(nullptr);
}

std::unique_ptr<Decoder> openHeif(ByteSource& file) { return std::make_unique<HeifDecoder>(file); }

} // namespace sorvane::decoder
