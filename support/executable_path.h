#pragma once

#include <filesystem>
#include <optional>

#include <sys/types.h>

namespace sorvane {

/// The path of the program that a process runs, as the kernel reports it; nothing when there is no
/// such process or it may not be asked about.
std::optional<std::filesystem::path> executablePath(pid_t process);

} // namespace sorvane
