#include "support/abandoned_children.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/child_process.h"
#include "tests/children.h"
#include "tests/pipe.h"
#include "tests/scoped_signal.h"

using namespace sorvane;
using namespace std::chrono_literals;
using Clock = ChildProcess::Clock;

namespace {

bool exists(pid_t process) { return ::kill(process, 0) == 0; }

/// A child that a debugger keeps from being gone, once it has been killed, until the debugger ends.
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
        test::Pipe answer;
        debugger_ = ::fork();
        if (debugger_ == 0) {
            const bool holds = ::ptrace(PTRACE_SEIZE, number, nullptr, PTRACE_O_TRACEEXIT) == 0;
            if (holds && ::write(answer.writer.get(), "x", 1) == 1) ::pause();
            ::_exit(0);
        }
        answer.writer.reset();
        char byte = 0;
        held = ::read(answer.reader.get(), &byte, 1) == 1;
    }
    HeldChild(const HeldChild&) = delete;
    HeldChild& operator=(const HeldChild&) = delete;
    ~HeldChild() { letGo(); }

    void letGo() {
        if (debugger_ < 0) return;
        ::kill(debugger_, SIGKILL);
        ::waitpid(debugger_, nullptr, 0);
        debugger_ = -1;
    }

    std::optional<ChildProcess> process;
    pid_t number = -1;
    bool held = false;

  private:
    test::Pipe input_;
    pid_t debugger_ = -1;
};

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

TEST_CASE("nor is the fork waited for that learns a child's end") {
    const test::ScopedSignal handler(SIGCHLD, [](int) {});
    test::Pipe output;
    ChildStreams streams;
    streams.connectNull(STDIN_FILENO);
    streams.connect(output.writer.get(), STDOUT_FILENO);
    streams.connectNull(STDERR_FILENO);
    ChildProcess process("/bin/sh", {"sh", "-c", "echo $PPID; exec sleep 60 >&2"}, {},
                         std::move(streams));
    const pid_t fork = std::stoi(output.content());
    ::kill(fork, SIGSTOP);
    REQUIRE(::waitpid(fork, nullptr, WUNTRACED) == fork);
    const auto before = Clock::now();
    CHECK_FALSE(process.succeeds(before));
    CHECK(Clock::now() - before < 2s);
    CHECK(test::hasChild());
    ::kill(fork, SIGCONT);
    CHECK(test::hasNoChild());
}
