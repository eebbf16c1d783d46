// One program, and the system's own reader in it. Only what every release of the system reads is
// asked for.

#include "tools/doctor/decoded_formats.h"

#include <algorithm>
#include <array>

namespace sorvane::doctor {

std::vector<std::string_view> decoderPrograms() { return {commonDecoder}; }

std::vector<TinyPicture> picturesFor(std::string_view) {
    constexpr std::array everywhere = {ImageFormat::png,  ImageFormat::jpeg, ImageFormat::gif,
                                       ImageFormat::webp, ImageFormat::tiff, ImageFormat::bmp,
                                       ImageFormat::heif};
    std::vector<TinyPicture> pictures;
    for (const TinyPicture& picture : tinyPictures)
        if (std::ranges::find(everywhere, picture.format) != everywhere.end())
            pictures.push_back(picture);
    return pictures;
}

} // namespace sorvane::doctor
