#include "support/argv0.h"

#include <crt_externs.h>

namespace sorvane {

std::string argv0() {
    if (*::_NSGetArgc() < 1) return {};
    return **::_NSGetArgv();
}

} // namespace sorvane
