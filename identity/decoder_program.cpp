#include "identity/decoder_program.h"

#include <unistd.h>

#include "support/executable_path.h"

namespace sorvane {

std::vector<std::filesystem::path> decoderCandidates(std::string_view program) {
    std::vector<std::filesystem::path> candidates;
    if (const auto executable = executablePath(::getpid())) {
        const std::filesystem::path directory = executable->parent_path();
        candidates.push_back(directory / program);
        candidates.push_back(directory.parent_path() / "libexec/sorvane" / program);
    }
    candidates.push_back(std::filesystem::path(SORVANE_LIBEXEC_DIR) / program);
    return candidates;
}

} // namespace sorvane
