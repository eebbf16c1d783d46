#include "support/absolute_path.h"

#include <system_error>

namespace sorvane {

std::filesystem::path absolutePath(std::string_view text) {
    std::filesystem::path path(text);
    if (path.is_absolute()) return path;
    std::error_code noDirectory;
    const std::filesystem::path current = std::filesystem::current_path(noDirectory);
    if (noDirectory) return path;
    return path.empty() ? current : current / path;
}

} // namespace sorvane
