#include "decoder/formats/heif/heif_plugin_image.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sorvane::decoder {

namespace {

// A decoder of libheif gets the coded bytes and nothing else, neither the item that they belong to
// nor data of its caller's, so what it has to know cannot reach it as an argument.
thread_local std::vector<Size> expectedSizes;
thread_local std::uint64_t picturesTaken = 0;
thread_local std::uint64_t pixelsTaken = 0;

bool expected(Size size) {
    return withinBudget(size) &&
           (expectedSizes.empty() || std::ranges::find(expectedSizes, size) != expectedSizes.end());
}

bool takeFromAllowance(Size size) {
    pixelsTaken += std::uint64_t{size.width} * size.height;
    return ++picturesTaken <= maxCodedPictures && pixelsTaken <= maxCodedPixels;
}

bool copyPlane(const CodedPicture::Plane& from, heif_channel channel, int bits, heif_image* image) {
    if (from.samples == nullptr || from.width <= 0 || from.height <= 0 ||
        heif_image_add_plane(image, channel, from.width, from.height, bits).code != heif_error_Ok)
        return false;
    int stride = 0;
    std::uint8_t* to = heif_image_get_plane(image, channel, &stride);
    const auto bytes = static_cast<std::size_t>(from.width) * (bits > 8 ? 2 : 1);
    for (std::ptrdiff_t row = 0; row < from.height; ++row)
        std::memcpy(to + row * stride, from.samples + row * from.stride, bytes);
    return true;
}

// What the item itself says about its colours takes precedence over this.
void setColours(const CodedPicture& picture, heif_image* image) {
    const Nclx colours(heif_nclx_color_profile_alloc());
    if (!colours) return;
    const auto code = [](int value) { return static_cast<std::uint16_t>(value); };
    heif_nclx_color_profile_set_color_primaries(colours.get(), code(picture.primaries));
    heif_nclx_color_profile_set_transfer_characteristics(colours.get(), code(picture.transfer));
    heif_nclx_color_profile_set_matrix_coefficients(colours.get(), code(picture.matrix));
    colours->full_range_flag = picture.fullRange ? 1 : 0;
    heif_image_set_nclx_color_profile(image, colours.get());
}

} // namespace

ExpectedSizes::ExpectedSizes(std::vector<Size> sizes) {
    expectedSizes = std::move(sizes);
    picturesTaken = pixelsTaken = 0;
}

ExpectedSizes::~ExpectedSizes() { expectedSizes.clear(); }

heif_error handOver(const CodedPicture& picture, heif_image** result) {
    constexpr std::array channels = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
    const auto [samples, stride, width, height] = picture.planes[0];
    const bool grey = picture.chroma == heif_chroma_monochrome;
    heif_image* created = nullptr;
    if (width <= 0 || height <= 0) return undecodable;
    const Size size = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    if (!expected(size) || !takeFromAllowance(size) ||
        heif_image_create(width, height, grey ? heif_colorspace_monochrome : heif_colorspace_YCbCr,
                          picture.chroma, &created)
                .code != heif_error_Ok)
        return undecodable;
    Image image(created);
    for (std::size_t i = 0; i < (grey ? 1 : channels.size()); ++i)
        if (!copyPlane(picture.planes[i], channels[i], picture.bits, created)) return undecodable;
    setColours(picture, created);
    *result = image.release();
    return decoded;
}

} // namespace sorvane::decoder
