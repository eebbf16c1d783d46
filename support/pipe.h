#pragma once

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "support/unique_descriptor.h"

namespace sorvane {

struct Pipe {
    UniqueDescriptor readingEnd;
    UniqueDescriptor writingEnd;
};

/// A close-on-exec pipe. Throws std::system_error.
inline Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    return {UniqueDescriptor(ends[0]), UniqueDescriptor(ends[1])};
}

} // namespace sorvane
