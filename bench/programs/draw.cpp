// draw KIND WIDTH HEIGHT [PROFILE]: draws a "screenshot" (PNG, RGBA), a "photograph" (PNG, RGB) or
// the "pixels" of that photograph (PPM), into standard output. A screenshot carries the ICC profile
// of the named file, when one is named.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "bench/drawing.h"
#include "bench/png_file.h"
#include "decoder/digest_prefix.h"
#include "support/sha256.h"

namespace {

using sorvane::bench::Drawing;
using Bytes = std::vector<std::uint8_t>;

Bytes contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string pixmap(const Drawing& drawing) {
    std::string text =
        "P6\n" + std::to_string(drawing.width) + ' ' + std::to_string(drawing.height) + "\n255\n";
    for (std::size_t i = 0; i < drawing.rgba.size(); i += 4)
        text.append(reinterpret_cast<const char*>(drawing.rgba.data() + i), 3);
    return text;
}

Drawing draw(std::string_view kind, std::size_t width, std::size_t height) {
    using namespace sorvane::bench;
    return kind == "screenshot" ? screenshot(width, height) : photograph(width, height);
}

std::string fileOf(const Drawing& drawing, std::string_view kind, const Bytes& profile) {
    using namespace sorvane::bench;
    if (kind == "pixels") return pixmap(drawing);
    const auto channels = kind == "screenshot" ? PngChannels::rgba : PngChannels::rgb;
    return pngFile(drawing, channels, profile);
}

// No pixel is transparent, so straight and premultiplied are the same.
std::string digestOf(const Drawing& drawing) {
    sorvane::Sha256 digest;
    digest.update(sorvane::decoder::digestPrefix(
        {static_cast<std::uint32_t>(drawing.width), static_cast<std::uint32_t>(drawing.height)}));
    digest.update({reinterpret_cast<const char*>(drawing.rgba.data()), drawing.rgba.size()});
    return digest.hex();
}

} // namespace

int main(int count, char** arguments) {
    if (count < 5) return EXIT_FAILURE;
    const auto number = [&](int i) {
        return static_cast<std::uint32_t>(std::strtoul(arguments[i], nullptr, 10));
    };
    const Drawing drawing = draw(arguments[1], number(2), number(3));
    const auto profile = count > 5 ? contentOf(arguments[5]) : Bytes{};
    std::ofstream file(arguments[4], std::ios::binary);
    file << fileOf(drawing, arguments[1], profile);
    file.close();
    std::puts(digestOf(drawing).c_str());
    return file ? EXIT_SUCCESS : EXIT_FAILURE;
}
