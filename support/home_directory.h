#pragma once

#include <filesystem>

namespace sorvane {

/// The home directory of the account that runs the process, from the system's user database, never
/// from the environment. /var/empty, where nothing is found, when the account has none there or the
/// database does not answer: on Linux within two seconds, on macOS to a process whose sandbox
/// forbids to ask it.
std::filesystem::path homeDirectory();

} // namespace sorvane
