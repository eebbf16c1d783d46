#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <spawn.h>

#include "support/child_status.h"

namespace sorvane {

/// What a child gets as its descriptors 0, 1 and 2; it gets no others. Connections are made in the
/// order of the calls: one that reads descriptor 0, 1 or 2 of this process must come before the one
/// that replaces it.
class ChildStreams {
  public:
    ChildStreams();
    ChildStreams(const ChildStreams&) = delete;
    ChildStreams& operator=(const ChildStreams&) = delete;
    ~ChildStreams();

    /// Gives the child `descriptor`, which stays the caller's and must be open until the child is
    /// started, as its descriptor `as`. Throws std::system_error.
    void connect(int descriptor, int as);

    /// The same with /dev/null.
    void connectNull(int as);

  private:
    friend class ChildProcess;
    posix_spawn_file_actions_t actions_;
};

/// A running child program. Call `wait` or `succeeds`, once; without either the destructor kills
/// and reaps it (see `ChildStatus::kill`). What this process has set for SIGCHLD does not matter.
class ChildProcess {
  public:
    using Clock = ChildStatus::Clock;

    /// Starts the program at `path` directly, without a shell or a search, with all signals at
    /// their defaults. `arguments` begin with the program's own name; `environment` holds
    /// "NAME=value" texts. Throws std::system_error when it cannot be started.
    ChildProcess(const std::filesystem::path& path, std::vector<std::string> arguments,
                 std::vector<std::string> environment, ChildStreams&& streams);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// Waits until the child has ended: its exit status, or the number of the signal that ended it.
    std::int32_t wait();

    /// Waits until the child has ended or the deadline has passed; one that has not ended then is
    /// killed (see `ChildStatus::kill`). Whether it ended by itself, with status 0.
    bool succeeds(Clock::time_point deadline);

  private:
    std::optional<ChildStatus> status_; // until the child is reaped
};

} // namespace sorvane
