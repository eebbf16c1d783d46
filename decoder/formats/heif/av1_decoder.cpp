#include "decoder/formats/heif/av1_decoder.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
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

int supports(heif_compression_format format) {
    return format == heif_compression_AV1 ? decoderPriority : 0;
}

constexpr std::size_t planeAlignment = DAV1D_PICTURE_ALIGNMENT;

// Aligned as dav1d wants it, and cleared, since what it leaves unwritten of a damaged picture must
// not be what was there before. The byte before the planes tells how far they lie from the
// beginning of the memory.
std::uint8_t* allocatePlanes(std::size_t bytes) {
    auto* memory = static_cast<std::uint8_t*>(std::calloc(1, bytes + planeAlignment));
    if (memory == nullptr) return nullptr;
    const std::size_t offset =
        planeAlignment - reinterpret_cast<std::uintptr_t>(memory) % planeAlignment;
    memory[offset - 1] = static_cast<std::uint8_t>(offset);
    return memory + offset;
}

void freePlanes(std::uint8_t* planes) {
    if (planes != nullptr) std::free(planes - planes[-1]);
}

/// The sides of the chroma planes that are half as long as those of luma.
struct Halved {
    bool width;
    bool height;
};

Halved halvedBy(Dav1dPixelLayout layout) {
    return {layout != DAV1D_PIXEL_LAYOUT_I444, layout == DAV1D_PIXEL_LAYOUT_I420};
}

// Allocates as dav1d does itself, but cleared: sides of whole superblocks, and rows that do not all
// fall into the same set of the processor's cache.
int allocate(Dav1dPicture* picture, void*) {
    constexpr auto wholeBlocks = [](int side) {
        return (static_cast<std::size_t>(side) + 127) / 128 * 128;
    };
    constexpr auto spread = [](std::size_t stride) {
        return stride % 1024 == 0 ? stride + planeAlignment : stride;
    };
    const bool grey = picture->p.layout == DAV1D_PIXEL_LAYOUT_I400;
    const Halved halved = halvedBy(picture->p.layout);
    const std::size_t width = wholeBlocks(picture->p.w) * (picture->p.bpc > 8 ? 2 : 1);
    const std::size_t height = wholeBlocks(picture->p.h);
    const std::size_t luma = spread(width);
    const std::size_t chroma = grey ? 0 : spread(halved.width ? width / 2 : width);
    const std::size_t chromaPlane = chroma * (halved.height ? height / 2 : height);
    std::uint8_t* planes = allocatePlanes(luma * height + 2 * chromaPlane + planeAlignment);
    if (planes == nullptr) return DAV1D_ERR(ENOMEM);
    picture->allocator_data = picture->data[0] = planes;
    picture->data[1] = grey ? nullptr : planes + luma * height;
    picture->data[2] = grey ? nullptr : planes + luma * height + chromaPlane;
    picture->stride[0] = static_cast<std::ptrdiff_t>(luma);
    picture->stride[1] = static_cast<std::ptrdiff_t>(chroma);
    return 0;
}

void release(Dav1dPicture* picture, void*) {
    freePlanes(static_cast<std::uint8_t*>(picture->allocator_data));
}

heif_error open(void** result) {
    Dav1dSettings settings;
    dav1d_default_settings(&settings);
    settings.n_threads = 1;
    settings.max_frame_delay = 1;
    settings.all_layers = 0;
    settings.frame_size_limit = pixelBudget;
    settings.logger = {};
    settings.allocator = {nullptr, allocate, release};
    auto decoder = std::unique_ptr<Dav1dDecoder>(new (std::nothrow) Dav1dDecoder);
    if (!decoder || dav1d_open(&decoder->context, &settings) != 0) return undecodable;
    *result = decoder.release();
    return decoded;
}

void close(void* decoder) { delete static_cast<Dav1dDecoder*>(decoder); }

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
    const Halved halved = halvedBy(picture.p.layout);
    for (std::size_t i = 0; i < 3; ++i) {
        const bool colour = i > 0;
        described.planes[i] = {static_cast<const std::uint8_t*>(picture.data[i]),
                               picture.stride[colour ? 1 : 0],
                               colour && halved.width ? (picture.p.w + 1) / 2 : picture.p.w,
                               colour && halved.height ? (picture.p.h + 1) / 2 : picture.p.h};
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
    plugin.does_support_format = supports;
    plugin.free_decoder = close;
    plugin.push_data = push;
    plugin.decode_image = decode;
    return plugin;
}

} // namespace

const heif_decoder_plugin av1Decoder = decoderPlugin<open>(calls());

} // namespace sorvane::decoder
