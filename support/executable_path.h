#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <sys/types.h>

namespace sorvane {

/// The path of the program that a process runs, as the kernel reports it; nothing when there is no
/// such process or it may not be asked about.
std::optional<std::filesystem::path> executablePath(pid_t process);

/// This process's first command-line argument: the path under which it was started, as whoever
/// started it wrote it. Empty when there was none.
/// Throws std::system_error where the system does not tell.
std::string argv0();

} // namespace sorvane
