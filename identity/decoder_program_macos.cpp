// What a picture is, the system's own reader decides, and it runs in the child.

#include "identity/decoder_program.h"

namespace sorvane {

std::optional<std::string_view> decoderProgramFor(std::string_view firstBytes) {
    return firstBytes.empty() ? std::nullopt : std::optional<std::string_view>("sorvane-pixels");
}

} // namespace sorvane
