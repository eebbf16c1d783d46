#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <libheif/heif.h>

#include "decoder/picture/geometry.h"

namespace sorvane::decoder {

/// A picture as the video decoders describe it, in their own memory.
struct CodedPicture {
    struct Plane {
        const std::uint8_t* samples = nullptr;
        /// Bytes from one row to the next.
        std::ptrdiff_t stride = 0;
        int width = 0;
        int height = 0;
    };

    heif_chroma chroma = heif_chroma_undefined;
    /// Bits a sample: up to 8 lie in one byte, more in two.
    int bits = 0;
    /// Luma and the two chroma planes; a grey picture has only the first.
    std::array<Plane, 3> planes;
    /// What the stream says about its colours, as the code points of H.273.
    int primaries = 0;
    int transfer = 0;
    int matrix = 0;
    bool fullRange = false;
};

/// The answers of a decoder's calls to libheif.
inline constexpr heif_error decoded = {heif_error_Ok, heif_suberror_Unspecified, ""};
inline constexpr heif_error undecodable = {heif_error_Decoder_plugin_error,
                                           heif_suberror_Unspecified, ""};

/// Above that of libheif's own decoders, which is 150 at most.
inline constexpr int decoderPriority = 200;

/// While it lives, handOver accepts on this thread only pictures of these sizes; pictures of any
/// size if there are none. libheif places a tile by its declared size and does not compare that
/// with the coded one, which would leave part of the picture's memory unwritten.
class ExpectedSizes {
  public:
    explicit ExpectedSizes(std::vector<Size> sizes);
    ~ExpectedSizes();
    ExpectedSizes(const ExpectedSizes&) = delete;
    ExpectedSizes& operator=(const ExpectedSizes&) = delete;
};

/// Copies the picture into an image that libheif then owns. Fails for a picture that is over the
/// budget or of a size that is not expected.
heif_error handOver(const CodedPicture& picture, heif_image** result);

} // namespace sorvane::decoder
