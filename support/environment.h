#pragma once

#include <cstdlib>
#include <string_view>

namespace sorvane {

/// Whether an environment variable is set to exactly "1", the only value that turns a mode on.
inline bool environmentFlag(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && std::string_view(value) == "1";
}

} // namespace sorvane
