#pragma once

#include <filesystem>

namespace sorvane {

/// A path with its symbolic links followed as far as it exists, and spelled as the application
/// spells it; a path that cannot be looked at as it is.
std::filesystem::path resolvedPath(const std::filesystem::path& path);

} // namespace sorvane
