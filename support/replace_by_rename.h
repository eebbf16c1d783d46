#pragma once

#include <filesystem>

namespace sorvane {

/// Moves a file to a path of the same file system, over whatever file is there: who opens that path
/// finds the one or the other, whole. After a power failure soon after it may be empty. False, with
/// `errno`, when the file cannot be moved, as over a directory: both stay as they are.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& target);

} // namespace sorvane
