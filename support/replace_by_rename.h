#pragma once

#include <filesystem>

namespace sorvane {

/// Moves a file to a path of the same file system, over whatever file is there: who opens that path
/// finds the one or the other, whole. Where the power fails soon after, it may be empty. False,
/// with `errno`: it cannot, as where a directory is, and both stay.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& place);

} // namespace sorvane
