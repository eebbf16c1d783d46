// Two programs share the rows of the table of formats.

#include "tools/doctor/decoded_formats.h"

#include <algorithm>

namespace sorvane::doctor {

std::vector<std::string_view> decoderPrograms() { return {commonDecoder, extraDecoder}; }

std::vector<TinyPicture> picturesFor(std::string_view program) {
    std::vector<TinyPicture> pictures;
    for (const TinyPicture& picture : tinyPictures)
        if (std::ranges::any_of(imageFormats, [&](const ImageFormatRow& row) {
                return row.format == picture.format && row.program == program;
            }))
            pictures.push_back(picture);
    return pictures;
}

} // namespace sorvane::doctor
