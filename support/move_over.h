#pragma once

#include <filesystem>

namespace sorvane {

/// Moves a file to a path of the same file system, over whatever file is there: who opens that path
/// finds the one or the other, whole. False, with `errno`: it cannot, and both are as they were.
bool moveOver(const std::filesystem::path& file, const std::filesystem::path& place);

} // namespace sorvane
