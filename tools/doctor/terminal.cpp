#include "tools/doctor/terminal.h"

#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace sorvane::doctor {

bool isTerminal(int descriptor) {
    const char* kind = std::getenv("TERM");
    return ::isatty(descriptor) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

// By the convention of NO_COLOR any value counts but an empty one.
bool takesColour(int descriptor) {
    const char* none = std::getenv("NO_COLOR");
    return isTerminal(descriptor) && (none == nullptr || *none == '\0');
}

} // namespace sorvane::doctor
