#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <libheif/heif.h>

#include "decoder/picture/geometry.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

using Image = std::unique_ptr<heif_image, Release<heif_image_release>>;
using Nclx = std::unique_ptr<heif_color_profile_nclx, Release<heif_nclx_color_profile_free>>;

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

/// The priority of our decoders; libheif's own have at most 150.
inline constexpr int decoderPriority = 200;

/// How many coded pictures one file may take, and how many pixels they may have together: enough
/// for the whole budget in tiles of 128 x 128, and for colours and alpha of the whole budget twice.
/// An item may be a part of others thousands of times, and is decoded each time.
inline constexpr std::uint64_t maxCodedPictures = 4096;
inline constexpr std::uint64_t maxCodedPixels = std::uint64_t{4} * pixelBudget;

/// While it lives, handOver accepts on this thread only pictures of these sizes, pictures of any
/// size if there are none, and no more than the two limits allow. libheif places a tile by its
/// declared size and does not compare that with the coded one, which would leave part of the
/// picture's memory unwritten.
class ExpectedSizes {
  public:
    explicit ExpectedSizes(std::vector<Size> sizes);
    ~ExpectedSizes();
    ExpectedSizes(const ExpectedSizes&) = delete;
    ExpectedSizes& operator=(const ExpectedSizes&) = delete;
};

/// Copies the picture into an image that libheif then owns. Fails for a picture that is over the
/// budget, of a size that is not expected, or one more than is allowed.
heif_error handOver(const CodedPicture& picture, heif_image** result);

} // namespace sorvane::decoder
