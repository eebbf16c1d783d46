#include "bench/png_file.h"

#include <cstdio>
#include <cstdlib>

#include <png.h>

namespace sorvane::bench {

namespace {

[[noreturn]] void giveUp(png_structp, png_const_charp message) {
    std::fprintf(stderr, "png: %s\n", message);
    std::exit(EXIT_FAILURE);
}

void append(png_structp png, png_bytep bytes, std::size_t count) {
    auto* file = static_cast<std::string*>(png_get_io_ptr(png));
    file->append(reinterpret_cast<const char*>(bytes), count);
}

void flush(png_structp) {}

} // namespace

std::string pngFile(const Drawing& drawing, PngChannels channels,
                    std::span<const std::uint8_t> profile) {
    const bool alpha = channels == PngChannels::rgba;
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, giveUp, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, flush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(drawing.width),
                 static_cast<png_uint_32>(drawing.height), 8,
                 alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!profile.empty())
        png_set_iCCP(png, info, "display", PNG_COMPRESSION_TYPE_BASE, profile.data(),
                     static_cast<png_uint_32>(profile.size()));
    png_write_info(png, info);
    if (!alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::size_t y = 0; y < drawing.height; ++y)
        png_write_row(png, drawing.rgba.data() + 4 * drawing.width * y);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

} // namespace sorvane::bench
