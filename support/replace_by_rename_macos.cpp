#include "support/replace_by_rename.h"

#include <cstdio>

namespace sorvane {

bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& place) {
    return ::rename(file.c_str(), place.c_str()) == 0;
}

} // namespace sorvane
