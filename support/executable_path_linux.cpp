#include "support/executable_path.h"

#include <system_error>

#include "support/file_reader.h"

namespace sorvane {

std::optional<std::filesystem::path> executablePath(pid_t process) {
    std::error_code failure;
    auto path = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", failure);
    if (failure) return std::nullopt;
    return path;
}

// The C library keeps only what it made of the argument; the kernel keeps the argument.
std::string argv0() {
    const std::string commandLine = readFile("/proc/self/cmdline");
    return commandLine.substr(0, commandLine.find('\0'));
}

} // namespace sorvane
