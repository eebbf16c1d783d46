#include "decoder/formats/jpeg_xl.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

#include <jxl/decode.h>

#include "decoder/formats/library_versions.h"
#include "decoder/picture/geometry.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

bool good(JxlDecoderStatus status) { return status == JXL_DEC_SUCCESS; }

JxlColorEncoding srgb(bool grey) {
    JxlColorEncoding colours{};
    colours.color_space = grey ? JXL_COLOR_SPACE_GRAY : JXL_COLOR_SPACE_RGB;
    colours.white_point = JXL_WHITE_POINT_D65;
    colours.primaries = JXL_PRIMARIES_SRGB;
    colours.transfer_function = JXL_TRANSFER_FUNCTION_SRGB;
    return colours;
}

bool isSrgb(const JxlColorEncoding& colours) {
    const bool grey = colours.color_space == JXL_COLOR_SPACE_GRAY;
    return (grey || colours.primaries == JXL_PRIMARIES_SRGB) &&
           colours.white_point == JXL_WHITE_POINT_D65 &&
           colours.transfer_function == JXL_TRANSFER_FUNCTION_SRGB;
}

bool isHighDynamicRange(const JxlColorEncoding& colours) {
    return colours.transfer_function == JXL_TRANSFER_FUNCTION_PQ ||
           colours.transfer_function == JXL_TRANSFER_FUNCTION_HLG;
}

class JpegXlDecoder final : public Decoder {
  public:
    explicit JpegXlDecoder(ByteSource& file) : file_(file), decoder_(JxlDecoderCreate(nullptr)) {}

    std::optional<PictureHeader> readHeader() override;
    bool readPixels(PixelSink& sink) override;

  private:
    static void takePixels(void* data, std::size_t x, std::size_t y, std::size_t count,
                           const void* pixels);

    const std::uint8_t* rounded(std::span<const float> fractions);
    JxlDecoderStatus proceed();
    bool feed();
    bool hasInks() const;
    bool scattered() const;
    std::optional<ColourStatements> colours();

    ByteSource& file_;
    std::unique_ptr<JxlDecoder, Release<JxlDecoderDestroy>> decoder_;
    std::vector<std::uint8_t> input_;
    JxlBasicInfo info_{};
    SampleFormat format_;
    PixelSink* sink_ = nullptr;
    std::vector<std::uint8_t> rounded_;
    std::uint64_t received_ = 0;
};

// Decodes until the next event, feeding input as it is asked for.
JxlDecoderStatus JpegXlDecoder::proceed() {
    while (true) {
        const JxlDecoderStatus status = JxlDecoderProcessInput(decoder_.get());
        if (status != JXL_DEC_NEED_MORE_INPUT) return status;
        if (!feed()) return JXL_DEC_ERROR;
    }
}

// Gives the decoder what it has left of its input, and the next piece after it.
bool JpegXlDecoder::feed() {
    const std::size_t left = JxlDecoderReleaseInput(decoder_.get());
    input_.erase(input_.begin(), input_.end() - static_cast<std::ptrdiff_t>(left));
    const std::span<const std::uint8_t> piece = file_.takePiece();
    input_.insert(input_.end(), piece.begin(), piece.end());
    return !piece.empty() && good(JxlDecoderSetInput(decoder_.get(), input_.data(), input_.size()));
}

std::optional<PictureHeader> JpegXlDecoder::readHeader() {
    constexpr int events = JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING | JXL_DEC_FULL_IMAGE;
    JxlDecoder* decoder = decoder_.get();
    if (decoder == nullptr || !good(JxlDecoderSubscribeEvents(decoder, events)) ||
        !good(JxlDecoderSetKeepOrientation(decoder, JXL_TRUE)) ||
        !good(JxlDecoderSetUnpremultiplyAlpha(decoder, JXL_TRUE)) ||
        proceed() != JXL_DEC_BASIC_INFO || !good(JxlDecoderGetBasicInfo(decoder, &info_)) ||
        hasInks() || proceed() != JXL_DEC_COLOR_ENCODING)
        return std::nullopt;
    auto colour = colours();
    if (!colour) return std::nullopt;
    format_.channels = channelsOf(info_.num_color_channels == 3, info_.alpha_bits != 0);
    format_.sixteenBits = info_.bits_per_sample > 8 || info_.alpha_bits > 8;
    PictureHeader header;
    header.size = {info_.xsize, info_.ysize};
    header.orientation = orientationFrom(static_cast<std::uint32_t>(info_.orientation))
                             .value_or(Orientation::upright);
    header.samples = format_;
    header.rowsInOrder = false;
    header.colour = std::move(*colour);
    return header;
}

bool JpegXlDecoder::hasInks() const {
    for (std::uint32_t i = 0; i < info_.num_extra_channels; ++i) {
        JxlExtraChannelInfo channel;
        if (!good(JxlDecoderGetExtraChannelInfo(decoder_.get(), i, &channel)) ||
            channel.type == JXL_CHANNEL_BLACK)
            return true;
    }
    return false;
}

// A picture that is coded in XYB has no colour space of its own, and is asked for in sRGB.
std::optional<ColourStatements> JpegXlDecoder::colours() {
    JxlDecoder* decoder = decoder_.get();
    constexpr auto original = JXL_COLOR_PROFILE_TARGET_ORIGINAL;
    constexpr auto pixels = JXL_COLOR_PROFILE_TARGET_DATA;
    JxlColorEncoding said;
    if (good(askColours(JxlDecoderGetColorAsEncodedProfile, decoder, original, &said)) &&
        isHighDynamicRange(said))
        return std::nullopt;
    if (info_.uses_original_profile == JXL_FALSE) {
        const JxlColorEncoding wanted = srgb(info_.num_color_channels == 1);
        if (!good(JxlDecoderSetPreferredColorProfile(decoder, &wanted))) return std::nullopt;
    }
    if (good(askColours(JxlDecoderGetColorAsEncodedProfile, decoder, pixels, &said)) &&
        isSrgb(said))
        return ColourStatements{DeclaredSrgb{}};
    std::size_t length = 0;
    if (!good(askColours(JxlDecoderGetICCProfileSize, decoder, pixels, &length)) ||
        length > maxProfileBytes)
        return std::nullopt;
    IccProfile profile{std::vector<std::uint8_t>(length)};
    if (!good(askColours(JxlDecoderGetColorAsICCProfile, decoder, pixels, profile.bytes.data(),
                         length)))
        return std::nullopt;
    return ColourStatements{std::move(profile)};
}

// Whether newer releases scatter the samples as they round them: those of fewer than the eight bits
// in which they are wanted. They are asked for as fractions instead, and rounded here.
bool JpegXlDecoder::scattered() const {
    return !format_.sixteenBits &&
           (info_.bits_per_sample < 8 || (info_.alpha_bits > 0 && info_.alpha_bits < 8));
}

const std::uint8_t* JpegXlDecoder::rounded(std::span<const float> fractions) {
    rounded_.resize(fractions.size());
    std::ranges::transform(fractions, rounded_.begin(), [](float fraction) {
        return static_cast<std::uint8_t>(std::lround(255 * std::clamp(fraction, 0.0F, 1.0F)));
    });
    return rounded_.data();
}

void JpegXlDecoder::takePixels(void* data, std::size_t x, std::size_t y, std::size_t count,
                               const void* pixels) {
    auto& decoder = *static_cast<JpegXlDecoder*>(data);
    decoder.received_ += count;
    const std::size_t samples = count * channelCount(decoder.format_.channels);
    const auto* bytes = decoder.scattered()
                            ? decoder.rounded({static_cast<const float*>(pixels), samples})
                            : static_cast<const std::uint8_t*>(pixels);
    decoder.sink_->take({static_cast<std::uint32_t>(y), static_cast<std::uint32_t>(x), 1,
                         static_cast<std::uint32_t>(count), bytes});
}

bool JpegXlDecoder::readPixels(PixelSink& sink) {
    sink_ = &sink;
    const JxlDataType eightBits = scattered() ? JXL_TYPE_FLOAT : JXL_TYPE_UINT8;
    const JxlPixelFormat format = {static_cast<std::uint32_t>(channelCount(format_.channels)),
                                   format_.sixteenBits ? JXL_TYPE_UINT16 : eightBits,
                                   JXL_NATIVE_ENDIAN, 0};
    return proceed() == JXL_DEC_NEED_IMAGE_OUT_BUFFER &&
           good(JxlDecoderSetImageOutCallback(decoder_.get(), &format, takePixels, this)) &&
           proceed() == JXL_DEC_FULL_IMAGE && received_ == std::uint64_t{info_.xsize} * info_.ysize;
}

} // namespace

std::unique_ptr<Decoder> openJpegXl(ByteSource& file) {
    return std::make_unique<JpegXlDecoder>(file);
}

} // namespace sorvane::decoder
