#include <cstdio>

#include "support/move_over.h"

namespace sorvane {

bool moveOver(const std::filesystem::path& file, const std::filesystem::path& place) {
    return ::rename(file.c_str(), place.c_str()) == 0;
}

} // namespace sorvane
