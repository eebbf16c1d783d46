#include "support/abandoned_children.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/ptrace.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/child_process.h"
#include "tests/pipe.h"

using namespace sorvane;
using namespace std::chrono_literals;
using Clock = ChildProcess::Clock;

namespace {

/// A child that a debugger keeps from being gone, once it has been killed, until it is let go.
class HeldChild {
  public:
    HeldChild() {
        test::Pipe output;
        ChildStreams streams;
        streams.connect(input_.reader.get(), STDIN_FILENO);
        streams.connect(output.writer.get(), STDOUT_FILENO);
        streams.connectNull(STDERR_FILENO);
        process.emplace("/bin/sh", std::vector<std::string>{"sh", "-c", "echo $$; exec cat >&2"},
                        std::vector<std::string>{}, std::move(streams));
        number = std::stoi(output.content());
        held = ::ptrace(PTRACE_SEIZE, number, nullptr, PTRACE_O_TRACEEXIT) == 0;
    }

    void letGo() const { ::ptrace(PTRACE_DETACH, number, nullptr, nullptr); }

    std::optional<ChildProcess> process;
    pid_t number = -1;
    bool held = false;

  private:
    test::Pipe input_;
};

bool exists(pid_t process) { return ::kill(process, 0) == 0; }

} // namespace

TEST_CASE("a killed child that is slow to go is not waited for, and reaped at a later start") {
    HeldChild child;
    if (!child.held) return; // this machine lets nobody debug
    const auto before = Clock::now();
    CHECK_FALSE(child.process->succeeds(before));
    CHECK(Clock::now() - before < 2s);
    CHECK(exists(child.number));
    reapAbandonedChildren();
    CHECK(exists(child.number));
    child.letGo();
    for (int tries = 0; tries < 500 && exists(child.number); ++tries) {
        reapAbandonedChildren();
        std::this_thread::sleep_for(10ms);
    }
    CHECK_FALSE(exists(child.number));
}
