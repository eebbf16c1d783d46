#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <jxl/decode.h>
#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

namespace sorvane::decoder {

// Where the releases of a library differ in how they are called: told apart here and nowhere else.

/// A call of libjxl about colours. Its first releases want a pixel format as well, which they do
/// not look at; later ones have dropped it.
template<class Call, class... Arguments>
JxlDecoderStatus askColours(Call* call, JxlDecoder* decoder, Arguments... arguments) {
    if constexpr (std::is_invocable_v<Call*, JxlDecoder*, std::nullptr_t, Arguments...>)
        return call(decoder, nullptr, arguments...);
    else
        return call(decoder, arguments...);
}

/// A file for libheif, from the calls that each of its releases knows. Since 1.19 it asks for the
/// range of bytes that it is about to read as well: `available` tells where what is there of it
/// ends.
template<std::uint64_t (*available)(std::uint64_t begin, std::uint64_t end, void* data)>
constexpr heif_reader fileReader(heif_reader reader) {
    reader.reader_api_version = 1;
#if LIBHEIF_HAVE_VERSION(1, 19, 0)
    reader.reader_api_version = 2;
    reader.request_range = [](std::uint64_t begin, std::uint64_t end, void* data) {
        heif_reader_range_request_result result{};
        result.range_end = available(begin, end, data);
        result.status = result.range_end == end ? heif_reader_grow_status_size_reached
                                                : heif_reader_grow_status_size_beyond_eof;
        return result;
    };
    reader.preload_range_hint = [](std::uint64_t, std::uint64_t, void*) {};
    reader.release_file_range = [](std::uint64_t, std::uint64_t, void*) {};
#endif
    return reader;
}

/// How libheif has to be asked for a picture so that it comes as grey or as red, green and blue.
/// Until 1.17 it did unasked, later releases leave the samples as they are coded.
inline std::pair<heif_colorspace, heif_chroma>
decodedForm([[maybe_unused]] const heif_image_handle* picture) {
    heif_colorspace colours = heif_colorspace_undefined;
    heif_chroma chroma = heif_chroma_undefined;
#if LIBHEIF_HAVE_VERSION(1, 17, 0)
    heif_image_handle_get_preferred_decoding_colorspace(picture, &colours, &chroma);
    if (colours == heif_colorspace_YCbCr || colours == heif_colorspace_RGB)
        return {heif_colorspace_RGB, heif_chroma_444};
#endif
    return {colours, chroma};
}

/// Makes every release of libheif convert colours as the first ones did: subsampled chroma is
/// repeated, not smoothed; and the picture keeps its own nclx statement. 1.21 and 1.22 have no
/// option to keep it, and replace it by sRGB's.
inline void setColourOptions([[maybe_unused]] heif_decoding_options& options) {
#if LIBHEIF_HAVE_VERSION(1, 16, 0)
    options.color_conversion_options.preferred_chroma_upsampling_algorithm =
        heif_chroma_upsampling_nearest_neighbor;
    options.color_conversion_options.only_use_preferred_chroma_algorithm = 1;
#endif
#if LIBHEIF_HAVE_VERSION(1, 23, 0)
    options.output_image_nclx_profile_passthrough = 1;
#endif
}

/// A decoder of ours for libheif, from its calls that each release knows. It is no stricter when it
/// is told to be. Since 1.21 libheif takes none without two more calls: one that opens with
/// options, and one that says that all bytes have come.
template<heif_error (*open)(void**)>
constexpr heif_decoder_plugin decoderPlugin(heif_decoder_plugin plugin) {
    plugin.plugin_api_version = 3;
    plugin.get_plugin_name = [] { return "sorvane"; };
    plugin.id_name = "sorvane";
    plugin.new_decoder = open;
    plugin.set_strict_decoding = [](void*, int) {};
#if LIBHEIF_HAVE_VERSION(1, 21, 0)
    plugin.plugin_api_version = 5;
    plugin.new_decoder2 = [](void** decoder, const heif_decoder_plugin_options*) {
        return open(decoder);
    };
    plugin.flush_data = [](void*) {
        return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
    };
#endif
    return plugin;
}

} // namespace sorvane::decoder
