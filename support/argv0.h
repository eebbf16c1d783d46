#pragma once

#include <string>

namespace sorvane {

/// This process's first command-line argument: the path under which it was started, as whoever
/// started it wrote it. Empty when there was none.
/// Throws std::system_error where the system does not tell.
std::string argv0();

} // namespace sorvane
