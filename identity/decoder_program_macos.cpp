// The system's own reader decides what a picture is, and it runs in the decoder.

#include "identity/decoder_program.h"

namespace sorvane {

std::optional<std::string_view> decoderProgramFor(std::string_view firstBytes) {
    return firstBytes.empty() ? std::nullopt : std::optional<std::string_view>("sorvane-pixels");
}

} // namespace sorvane
