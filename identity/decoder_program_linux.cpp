#include "identity/decoder_program.h"

#include "identity/image_formats.h"

namespace sorvane {

std::optional<std::string_view> decoderProgramFor(std::string_view firstBytes) {
    const auto format = imageFormat(firstBytes);
    return format ? std::optional(format->program) : std::nullopt;
}

} // namespace sorvane
