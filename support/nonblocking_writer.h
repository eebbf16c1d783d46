#pragma once

#include <string_view>

#include <sys/types.h>

#include "support/unique_descriptor.h"

namespace sorvane {

/// Writes to a descriptor without blocking and without setting O_NONBLOCK, a flag that would apply
/// to every process that shares the descriptor. For one writer at a time: a second one may take the
/// space that the first has found free, and the first then blocks.
class NonblockingWriter {
  public:
    /// Does not take ownership.
    explicit NonblockingWriter(int descriptor);

    /// To be called when the descriptor is ready for writing. One `write`, of which the system
    /// takes as many bytes as there is room for; returns what the system returns.
    ssize_t write(std::string_view bytes) const;

  private:
    int descriptor_;
    bool takesAll_ = false; ///< whether a plain write never blocks, as to a regular file
    /// Linux: the same stream, opened again; macOS: the kernel queue that tells when there is room.
    UniqueDescriptor platform_;
};

} // namespace sorvane
