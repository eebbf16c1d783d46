#include <crt_externs.h>

#include "support/first_argument.h"

namespace sorvane {

std::string firstArgument() {
    if (*::_NSGetArgc() < 1) return {};
    return **::_NSGetArgv();
}

} // namespace sorvane
