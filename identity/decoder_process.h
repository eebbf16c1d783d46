#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "identity/decoder_answer.h"
#include "support/child_process.h"
#include "support/unique_descriptor.h"

namespace sorvane {

/// A decoder at work on one file, in a process of its own that holds no secret: the file's bytes
/// are written to it, one line comes back. Nothing here throws but for want of memory, and nothing
/// waits longer than 10 seconds after the start: a decoder that is missing, dies, hangs or answers
/// nonsense gives no identity. It is killed, if need be, and reaped before the object is gone.
class DecoderProcess {
  public:
    explicit DecoderProcess(std::string_view program);

    /// Hands over the next piece of the file.
    void write(std::string_view piece);

    /// Ends the input and takes the answer; called once.
    std::optional<PixelIdentity> answer();

  private:
    bool waitFor(short event) const;
    std::string receive() const;

    ChildProcess::Clock::time_point deadline_;
    UniqueDescriptor socket_;
    std::optional<ChildProcess> process_;
};

} // namespace sorvane
