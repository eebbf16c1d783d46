#pragma once

#include <filesystem>

namespace sorvane {

/// The home directory of the account that runs the process, as the system's user database knows
/// it; never taken from the environment. An account without an entry gets /var/empty, where
/// nothing is found; so does, on macOS, a process whose sandbox keeps it from the directory
/// service.
std::filesystem::path homeDirectory();

} // namespace sorvane
