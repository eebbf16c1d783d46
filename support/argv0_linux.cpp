// The C library keeps only what it made of the argument; the kernel keeps the argument.

#include "support/argv0.h"

#include "support/file_reader.h"

namespace sorvane {

std::string argv0() {
    const std::string commandLine = readFile("/proc/self/cmdline");
    return commandLine.substr(0, commandLine.find('\0'));
}

} // namespace sorvane
