#pragma once

#include <chrono>
#include <optional>

#include <spawn.h>
#include <sys/types.h>

#include "support/unique_descriptor.h"

namespace sorvane {

/// How a child ended: by itself with an exit status, or by a signal.
struct ChildEnd {
    bool exited;
    int number; ///< the exit status, or the signal's number
};

/// A started program and how it ends. The end is reported whatever this process has set for
/// SIGCHLD: it may ignore the signal, or reap every child in a handler. Nothing is changed that the
/// threads of the process share. A status that another thread takes by waiting for any child, or
/// that is lost because the process starts to ignore the signal meanwhile, counts as SIGKILL. The
/// destructor neither kills nor reaps: call `awaitEnd` until it gives an end, or `kill`, first.
class ChildStatus {
  public:
    using Clock = std::chrono::steady_clock;

    /// Starts the program; the arguments are those of `posix_spawn`. Throws std::system_error when
    /// it cannot be started.
    ChildStatus(const char* path, const posix_spawn_file_actions_t& actions,
                posix_spawnattr_t& attributes, char* const* arguments, char* const* environment);

    /// Waits until the child has ended, and reaps it. Neither overload may be called again after
    /// one has returned an end.
    ChildEnd awaitEnd();

    /// The same, or nothing when the child has not ended by the deadline.
    std::optional<ChildEnd> awaitEnd(Clock::time_point deadline);

    /// How long `kill` waits. A child without much memory is gone sooner, on a busy machine too.
    static constexpr std::chrono::milliseconds killTimeout{100};

    /// Kills the child and reaps it. One that has not ended within `killTimeout` is reaped at a
    /// later start, or by the system when this process ends.
    void kill();

  private:
    void endReports();

    pid_t program_ = -1;
    pid_t waiter_ = -1;        ///< the process that waits for the program on our behalf, if any
    UniqueDescriptor reports_; ///< Linux: the waiter's socket, if any; macOS: the kernel queue
};

} // namespace sorvane
