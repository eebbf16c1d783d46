// The C library keeps only what it made of the argument; the kernel keeps the argument.

#include "support/file_reader.h"
#include "support/first_argument.h"

namespace sorvane {

std::string firstArgument() {
    const std::string commandLine = readFile("/proc/self/cmdline");
    return commandLine.substr(0, commandLine.find('\0'));
}

} // namespace sorvane
