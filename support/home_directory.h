#pragma once

#include <filesystem>

namespace sorvane {

/// The home directory of the account that runs the process, as the system's user database knows
/// it; never taken from the environment. Without an entry it is /var/empty, where nothing is found;
/// so it is on macOS for a process whose sandbox does not let it ask the directory service, and on
/// Linux where the database is elsewhere and has not answered within two seconds.
std::filesystem::path homeDirectory();

} // namespace sorvane
