#include "decoder/formats/heif/hevc_decoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include <malloc.h>

#include <libde265/de265.h>

#include "decoder/formats/heif/heif_plugin_image.h"
#include "decoder/formats/library_versions.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

void initialize() { de265_init(); }
void finish() { de265_free(); }
int supports(heif_compression_format format) {
    return format == heif_compression_HEVC ? decoderPriority : 0;
}

// Of a damaged picture libde265 hands over pixels, and reads metadata, of blocks that it never
// wrote. While it runs, malloc clears what it gives. An allocator of our own would not do: it is
// asked only for pictures without sample adaptive offset.
constexpr int clearMemory = 0xff; // malloc fills with the complement
constexpr int leaveMemory = 0;

heif_error open(void** decoder) {
    ::mallopt(M_PERTURB, clearMemory);
    *decoder = de265_new_decoder();
    if (*decoder == nullptr) return undecodable;
    de265_set_parameter_bool(*decoder, DE265_DECODER_PARAM_SUPPRESS_FAULTY_PICTURES, 1);
    return decoded;
}

void close(void* decoder) {
    de265_free_decoder(decoder);
    ::mallopt(M_PERTURB, leaveMemory);
}

// The item's NAL units, each after its length in four bytes.
heif_error push(void* decoder, const void* data, std::size_t size) {
    std::span<const std::uint8_t> rest(static_cast<const std::uint8_t*>(data), size);
    while (!rest.empty()) {
        const auto length = NumberReader(rest, ByteOrder::big).u32(0);
        if (!length || *length > rest.size() - 4) return undecodable;
        if (de265_push_NAL(decoder, rest.data() + 4, static_cast<int>(*length), 0, nullptr) !=
            DE265_OK)
            return undecodable;
        rest = rest.subspan(4 + *length);
    }
    return decoded;
}

// libde265 goes on after most errors, and only a warning tells that pixels are not those of the
// file. The warnings listed here are not about pixels.
bool warnedOfDamage(de265_decoder_context* decoder) {
    constexpr std::array harmless = {
        DE265_WARNING_NO_WPP_CANNOT_USE_MULTITHREADING,
        DE265_WARNING_NUMBER_OF_THREADS_LIMITED_TO_MAXIMUM,
        DE265_WARNING_SPS_MISSING_CANNOT_DECODE_SEI,
    };
    bool damage = false;
    for (auto warning = de265_get_warning(decoder); warning != DE265_OK;
         warning = de265_get_warning(decoder))
        damage = damage || std::ranges::find(harmless, warning) == harmless.end();
    return damage;
}

const de265_image* firstPicture(de265_decoder_context* decoder) {
    if (de265_flush_data(decoder) != DE265_OK) return nullptr;
    int more = 1;
    while (more != 0) {
        if (de265_decode(decoder, &more) != DE265_OK) return nullptr;
        if (const de265_image* picture = de265_get_next_picture(decoder)) return picture;
    }
    return nullptr;
}

std::optional<CodedPicture> described(const de265_image* picture) {
    CodedPicture described;
    described.chroma = static_cast<heif_chroma>(de265_get_chroma_format(picture));
    described.bits = de265_get_bits_per_pixel(picture, 0);
    const bool grey = described.chroma == heif_chroma_monochrome;
    for (int channel = 0; channel < (grey ? 1 : 3); ++channel) {
        if (de265_get_bits_per_pixel(picture, channel) != described.bits) return std::nullopt;
        int stride = 0;
        const std::uint8_t* samples = de265_get_image_plane(picture, channel, &stride);
        described.planes[static_cast<std::size_t>(channel)] = {
            samples, stride, de265_get_image_width(picture, channel),
            de265_get_image_height(picture, channel)};
    }
    described.primaries = de265_get_image_colour_primaries(picture);
    described.transfer = de265_get_image_transfer_characteristics(picture);
    described.matrix = de265_get_image_matrix_coefficients(picture);
    described.fullRange = de265_get_image_full_range_flag(picture) != 0;
    return described;
}

heif_error decode(void* decoder, heif_image** image) {
    *image = nullptr;
    const de265_image* picture = firstPicture(decoder);
    if (picture == nullptr || warnedOfDamage(decoder)) return undecodable;
    const auto coded = described(picture);
    return coded ? handOver(*coded, image) : undecodable;
}

constexpr heif_decoder_plugin calls() {
    heif_decoder_plugin plugin{};
    plugin.init_plugin = initialize;
    plugin.deinit_plugin = finish;
    plugin.does_support_format = supports;
    plugin.free_decoder = close;
    plugin.push_data = push;
    plugin.decode_image = decode;
    return plugin;
}

} // namespace

const heif_decoder_plugin hevcDecoder = decoderPlugin<open>(calls());

} // namespace sorvane::decoder
