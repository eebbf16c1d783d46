#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "identity/decoder_answer.h"
#include "support/child_process.h"
#include "support/unique_descriptor.h"

namespace sorvane {

/// A decoder at work on one file, in a process of its own that holds no secret: the file's bytes
/// are written to it, one line comes back. Nothing here throws but for want of memory, and nothing
/// waits longer than 10 seconds after the start, nor beyond a deadline that comes sooner: a decoder
/// that is missing, dies, hangs or answers nonsense gives no identity. It is killed, if need be,
/// and reaped before the object is gone, unless it is still freeing memory a tenth of a second
/// after the kill. On Linux it does not outlive the thread that started it; on macOS it ends at the
/// end of its input or at its timeout.
class DecoderProcess {
  public:
    using Clock = ChildProcess::Clock;

    /// Starts nothing when the deadline has passed. The program's arguments are the seconds that
    /// are left, rounded up, then `words`.
    explicit DecoderProcess(std::string_view program,
                            Clock::time_point deadline = Clock::time_point::max(),
                            const std::vector<std::string>& words = {});

    /// Hands over the next piece of the file. When the system does not take it, the decoder is
    /// killed and has no answer; one that has ended by itself may have given it before.
    void write(std::string_view piece);

    /// Ends the input and takes the answer; called once.
    std::optional<DecoderAnswer> answer();

    /// The same for any other answer: all of it, but no more than `limit` bytes. Nothing when there
    /// is no decoder, or it did not end well.
    std::optional<std::string> text(std::size_t limit);

    /// The moment until which an answer is waited for.
    Clock::time_point deadline() const { return deadline_; }

  private:
    bool waitFor(short event) const;
    std::string receive(std::size_t limit) const;

    Clock::time_point deadline_;
    UniqueDescriptor socket_;
    std::optional<ChildProcess> process_;
};

} // namespace sorvane
