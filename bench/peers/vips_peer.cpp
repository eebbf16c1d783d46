// vips_peer FILE: a picture's pixel digest by libvips, as a small program of its own would take it.

#include <cstdio>
#include <cstdlib>

#include <vips/vips.h>

#include "decoder/digest_prefix.h"
#include "decoder/premultiply.h"
#include "support/sha256.h"

namespace {

// Replaces an image by one made from it.
void become(VipsImage*& image, VipsImage* next) {
    g_object_unref(image);
    image = next;
}

bool toSrgb(VipsImage*& image) {
    VipsImage* next = nullptr;
    if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) == 0) return true;
    if (vips_icc_transform(image, &next, "srgb", "embedded", TRUE, "intent", VIPS_INTENT_PERCEPTUAL,
                           nullptr) != 0)
        return false;
    become(image, next);
    return true;
}

bool toRgba(VipsImage*& image) {
    VipsImage* next = nullptr;
    if (vips_image_hasalpha(image) != 0) return true;
    if (vips_addalpha(image, &next, nullptr) != 0) return false;
    become(image, next);
    if (vips_cast_uchar(image, &next, nullptr) != 0) return false;
    become(image, next);
    return true;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2 || VIPS_INIT(arguments[0]) != 0) return EXIT_FAILURE;
    VipsImage* image =
        vips_image_new_from_file(arguments[1], "access", VIPS_ACCESS_SEQUENTIAL, nullptr);
    if (image == nullptr || !toSrgb(image) || !toRgba(image)) return EXIT_FAILURE;
    std::size_t size = 0;
    auto* pixels = static_cast<std::uint8_t*>(vips_image_write_to_memory(image, &size));
    if (pixels == nullptr) return EXIT_FAILURE;

    sorvane::decoder::premultiply(pixels, size / 4);
    sorvane::Sha256 digest;
    digest.update(
        sorvane::decoder::digestPrefix({static_cast<std::uint32_t>(vips_image_get_width(image)),
                                        static_cast<std::uint32_t>(vips_image_get_height(image))}));
    digest.update({reinterpret_cast<const char*>(pixels), size});
    std::puts(digest.hex().c_str());
    return EXIT_SUCCESS;
}
