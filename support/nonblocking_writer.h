#pragma once

#include <string_view>

#include <sys/types.h>

#include "support/unique_descriptor.h"

namespace sorvane {

/// Writes to a descriptor as to one that does not block, and leaves it as it is: whether it blocks
/// is a property that it shares with every process that inherited it. For one writer at a time: a
/// second one may take the room that the first has seen.
class NonblockingWriter {
  public:
    /// The descriptor stays its owner's.
    explicit NonblockingWriter(int descriptor);

    /// To be called when the descriptor is ready for writing. One `write` of all bytes, of which
    /// the system takes as many as there is room for; answers as the system does.
    ssize_t write(std::string_view bytes) const;

  private:
    int descriptor_;
    bool takesAll_ = false;      ///< whether a plain write does not block: of a regular file, say
    UniqueDescriptor assistant_; ///< what the system's way needs beside the descriptor, if anything
};

} // namespace sorvane
