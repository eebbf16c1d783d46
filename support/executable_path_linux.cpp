#include "support/executable_path.h"

#include <string>
#include <system_error>

namespace sorvane {

std::optional<std::filesystem::path> executablePath(pid_t process) {
    std::error_code failure;
    auto path = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", failure);
    if (failure) return std::nullopt;
    return path;
}

} // namespace sorvane
