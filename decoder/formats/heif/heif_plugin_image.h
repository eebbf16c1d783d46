#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <libheif/heif.h>

#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// A picture as a video decoder hands it over, for libheif.
struct CodedPicture {
    struct Plane {
        const std::uint8_t* samples = nullptr;
        /// From row to row, in bytes.
        std::ptrdiff_t stride = 0;
        int width = 0;
        int height = 0;
    };

    heif_chroma chroma = heif_chroma_undefined;
    /// 8 bits in a byte, more of them in two.
    int bits = 0;
    /// Luma and the two of colour; a grey picture has the first alone.
    std::array<Plane, 3> planes;
    /// What the stream says about its colours, in the numbers of the video standards.
    int primaries = 0;
    int transfer = 0;
    int matrix = 0;
    bool fullRange = false;
};

/// What every call of a decoder answers to libheif.
inline constexpr heif_error decoded = {heif_error_Ok, heif_suberror_Unspecified, ""};
inline constexpr heif_error undecodable = {heif_error_Decoder_plugin_error,
                                           heif_suberror_Unspecified, ""};

/// A decoder that goes before libheif's own, which have 150 at most.
inline constexpr int decoderPriority = 200;

/// From now on, on this thread, pictures have one of these sizes; any if there are none. libheif
/// lays tiles by what is declared of them, whatever was coded, and has no way to tell a decoder
/// more.
void expectSizes(std::vector<Size> sizes);

/// Copies the picture for libheif, whose image it is then. Fails for a picture over the budget, or
/// of a size that is not expected.
heif_error handOver(const CodedPicture& picture, heif_image** result);

} // namespace sorvane::decoder
