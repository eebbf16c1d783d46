#include "decoder/formats/heif/av1_decoder.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <dav1d/dav1d.h>

#include "decoder/formats/heif/heif_plugin_image.h"
#include "decoder/formats/library_versions.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

namespace {

struct Dav1dDecoder {
    Dav1dContext* context = nullptr;
    Dav1dData data{};

    Dav1dDecoder() = default;
    Dav1dDecoder(const Dav1dDecoder&) = delete;
    Dav1dDecoder& operator=(const Dav1dDecoder&) = delete;
    ~Dav1dDecoder() {
        dav1d_data_unref(&data);
        dav1d_close(&context);
    }
};

/// Owns a reference to a decoded picture.
struct Picture : Dav1dPicture {
    Picture() : Dav1dPicture{} {}
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { dav1d_picture_unref(this); }
};

const char* name() { return "sorvane"; }
int supports(heif_compression_format format) {
    return format == heif_compression_AV1 ? decoderPriority : 0;
}

heif_error open(void** result) {
    Dav1dSettings settings;
    dav1d_default_settings(&settings);
    settings.n_threads = 1;
    settings.max_frame_delay = 1;
    settings.all_layers = 0;
    settings.frame_size_limit = pixelBudget;
    settings.logger = {};
    auto decoder = std::unique_ptr<Dav1dDecoder>(new (std::nothrow) Dav1dDecoder);
    if (!decoder || dav1d_open(&decoder->context, &settings) != 0) return undecodable;
    *result = decoder.release();
    return decoded;
}

void close(void* decoder) { delete static_cast<Dav1dDecoder*>(decoder); }

void setStrict(void*, int) {}

heif_error push(void* data, const void* bytes, std::size_t size) {
    auto& decoder = *static_cast<Dav1dDecoder*>(data);
    if (decoder.data.sz != 0 || size == 0) return undecodable;
    std::uint8_t* copy = dav1d_data_create(&decoder.data, size);
    if (copy == nullptr) return undecodable;
    std::memcpy(copy, bytes, size);
    return decoded;
}

// Decodes until the first picture. False: an error, or no picture in all of the data.
bool decodeFirst(Dav1dDecoder& decoder, Picture& picture) {
    while (true) {
        const int sent = dav1d_send_data(decoder.context, &decoder.data);
        if (sent != 0 && sent != DAV1D_ERR(EAGAIN)) return false;
        const bool allSent = decoder.data.sz == 0;
        const int got = dav1d_get_picture(decoder.context, &picture);
        if (got == 0) return true;
        if (got != DAV1D_ERR(EAGAIN) || allSent) return false;
    }
}

heif_chroma chromaOf(Dav1dPixelLayout layout) {
    switch (layout) {
    case DAV1D_PIXEL_LAYOUT_I400:
        return heif_chroma_monochrome;
    case DAV1D_PIXEL_LAYOUT_I420:
        return heif_chroma_420;
    case DAV1D_PIXEL_LAYOUT_I422:
        return heif_chroma_422;
    case DAV1D_PIXEL_LAYOUT_I444:
        break;
    }
    return heif_chroma_444;
}

CodedPicture described(const Picture& picture) {
    CodedPicture described;
    described.chroma = chromaOf(picture.p.layout);
    described.bits = picture.p.bpc;
    const bool halfWidth = picture.p.layout != DAV1D_PIXEL_LAYOUT_I444;
    const bool halfHeight = picture.p.layout == DAV1D_PIXEL_LAYOUT_I420;
    for (std::size_t i = 0; i < 3; ++i) {
        const bool colour = i > 0;
        described.planes[i] = {static_cast<const std::uint8_t*>(picture.data[i]),
                               picture.stride[colour ? 1 : 0],
                               colour && halfWidth ? (picture.p.w + 1) / 2 : picture.p.w,
                               colour && halfHeight ? (picture.p.h + 1) / 2 : picture.p.h};
    }
    described.primaries = picture.seq_hdr->pri;
    described.transfer = picture.seq_hdr->trc;
    described.matrix = picture.seq_hdr->mtrx;
    described.fullRange = picture.seq_hdr->color_range != 0;
    return described;
}

heif_error decode(void* decoder, heif_image** image) {
    *image = nullptr;
    Picture picture;
    if (!decodeFirst(*static_cast<Dav1dDecoder*>(decoder), picture)) return undecodable;
    return handOver(described(picture), image);
}

constexpr heif_decoder_plugin calls() {
    heif_decoder_plugin plugin{};
    plugin.get_plugin_name = name;
    plugin.does_support_format = supports;
    plugin.free_decoder = close;
    plugin.push_data = push;
    plugin.decode_image = decode;
    plugin.set_strict_decoding = setStrict;
    plugin.id_name = "sorvane";
    return plugin;
}

} // namespace

const heif_decoder_plugin av1Decoder = decoderPlugin<open>(calls());

} // namespace sorvane::decoder
