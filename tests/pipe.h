#pragma once

#include <stdexcept>
#include <string>

#include <unistd.h>

#include "support/unique_descriptor.h"

namespace sorvane::test {

/// A pipe of a test's own.
struct Pipe {
    UniqueDescriptor reader;
    UniqueDescriptor writer;

    Pipe() {
        int ends[2];
        if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
        reader = UniqueDescriptor(ends[0]);
        writer = UniqueDescriptor(ends[1]);
    }

    /// Closes the writing end and gives everything that was written.
    std::string content() {
        writer.reset();
        std::string text;
        char piece[4096];
        ssize_t count = 0;
        while ((count = ::read(reader.get(), piece, sizeof piece)) > 0)
            text.append(piece, static_cast<std::size_t>(count));
        return text;
    }
};

} // namespace sorvane::test
