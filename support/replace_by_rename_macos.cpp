#include "support/replace_by_rename.h"

#include <cstdio>

namespace sorvane {

bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& target) {
    return ::rename(file.c_str(), target.c_str()) == 0;
}

} // namespace sorvane
