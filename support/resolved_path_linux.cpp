#include "support/resolved_path.h"

#include <system_error>

namespace sorvane {

std::filesystem::path resolvedPath(const std::filesystem::path& path) {
    std::error_code failure;
    auto target = std::filesystem::weakly_canonical(path, failure);
    return failure ? path : target;
}

} // namespace sorvane
