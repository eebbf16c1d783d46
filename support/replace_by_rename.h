#pragma once

#include <filesystem>

namespace sorvane {

/// Moves a file to a path in the same file system, over whatever file is there. Whoever opens that
/// path finds the old file or the new one, complete; only a power failure soon after may leave it
/// empty. False, with `errno`, when the file cannot be moved, for example over a directory: both
/// stay as they are.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& target);

} // namespace sorvane
