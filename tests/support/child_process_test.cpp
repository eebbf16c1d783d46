#include "support/child_process.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/children.h"
#include "tests/forked.h"
#include "tests/pipe.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::chrono_literals;
using test::hasChild;
using test::hasNoChild;
using test::Pipe;
using test::ScopedSignal;
using test::TemporaryDirectory;
using Clock = ChildProcess::Clock;
using Texts = std::vector<std::string>;

namespace {

// Longer than any child here takes to end by itself.
Clock::time_point inAnHour() { return Clock::now() + 1h; }

struct NoStreams : ChildStreams {
    NoStreams() {
        for (const int descriptor : {0, 1, 2}) connectNull(descriptor);
    }
};

Texts shellWords(const std::string& script) { return {"sh", "-c", script}; }

bool shellSucceeds(const std::string& script) {
    return ChildProcess("/bin/sh", shellWords(script), {}, NoStreams()).succeeds(inAnHour());
}

// What a program writes to its output.
std::string outputOf(const std::filesystem::path& program, Texts words, Texts environment = {}) {
    Pipe output;
    ChildStreams streams;
    streams.connectNull(STDIN_FILENO);
    streams.connect(output.writer.get(), STDOUT_FILENO);
    streams.connectNull(STDERR_FILENO);
    ChildProcess child(program, std::move(words), std::move(environment), std::move(streams));
    std::string content = output.content();
    CHECK(child.succeeds(inAnHour()));
    return content;
}

std::int32_t shellStatus(const std::string& script) {
    return ChildProcess("/bin/sh", shellWords(script), {}, NoStreams()).wait();
}

/// What a process may do with the signal that tells of its children's ends.
struct SigchldUse {
    const char* name;
    void (*handler)(int);
    int flags;
};

void reapAll(int /*signal*/) {
    const int before = errno;
    while (::waitpid(-1, nullptr, WNOHANG) > 0) continue;
    errno = before;
}

const SigchldUse sigchldUses[] = {{"default", SIG_DFL, 0},
                                  {"ignored", SIG_IGN, 0},
                                  {"reaped by the system", SIG_DFL, SA_NOCLDWAIT},
                                  {"reaped by a handler", reapAll, SA_RESTART}};

volatile pid_t handlersOwner = 0;

void endOthers(int /*signal*/) {
    if (::getpid() != handlersOwner) ::_exit(1);
}

class ScopedSigchld {
  public:
    explicit ScopedSigchld(const SigchldUse& use) : use_(use) {
        struct sigaction action {};
        action.sa_handler = use.handler;
        action.sa_flags = use.flags;
        ::sigaction(SIGCHLD, &action, &before_);
    }
    ScopedSigchld(const ScopedSigchld&) = delete;
    ScopedSigchld& operator=(const ScopedSigchld&) = delete;
    ~ScopedSigchld() { ::sigaction(SIGCHLD, &before_, nullptr); }

    bool isPresent() const {
        struct sigaction present {};
        ::sigaction(SIGCHLD, nullptr, &present);
        constexpr int flags = SA_NOCLDWAIT | SA_RESTART;
        return present.sa_handler == use_.handler && (present.sa_flags & flags) == use_.flags;
    }

  private:
    const SigchldUse& use_;
    struct sigaction before_ {};
};

/// A child that waits for an input that never comes, and has said that it runs.
class WaitingChild {
  public:
    explicit WaitingChild(const std::string& firstOfAll = ":") {
        ChildStreams streams;
        streams.connect(input_.reader.get(), STDIN_FILENO);
        streams.connect(output_.writer.get(), STDOUT_FILENO);
        streams.connectNull(STDERR_FILENO);
        process.emplace("/bin/sh", shellWords(firstOfAll + "; echo; read line"), Texts{},
                        std::move(streams));
        char byte = 0;
        REQUIRE(::read(output_.reader.get(), &byte, 1) == 1);
    }

    std::optional<ChildProcess> process;

  private:
    Pipe input_;
    Pipe output_;
};

// Why a program cannot be started; no reason when it can.
std::error_code failureToStart(const std::filesystem::path& program) {
    try {
        ChildProcess(program, {"program"}, {}, NoStreams()).succeeds(inAnHour());
    } catch (const std::system_error& failure) {
        return failure.code();
    }
    return {};
}

} // namespace

TEST_CASE("a child succeeds when it ends by itself with status 0") {
    CHECK(shellSucceeds("exit 0"));
    for (const std::string status : {"1", "2", "3", "127", "255"}) {
        CAPTURE(status);
        CHECK_FALSE(shellSucceeds(std::string("exit ") + status));
    }
    for (const std::string signal : {"TERM", "KILL", "SEGV", "PIPE", "HUP"}) {
        CAPTURE(signal);
        CHECK_FALSE(shellSucceeds(std::string("ulimit -c 0; kill -") + signal + " $$; exit 0"));
    }
    CHECK(hasNoChild());
}

TEST_CASE("waiting gives the exit status, or the number of the signal") {
    struct Row {
        std::string script;
        std::int32_t status;
    };
    const std::vector<Row> rows = {{"exit 0", 0},
                                   {"exit 3", 3},
                                   {"exit 255", 255},
                                   {"kill -KILL $$", SIGKILL},
                                   {"kill -TERM $$", SIGTERM}};
    for (const Row& row : rows) {
        CAPTURE(row.script);
        ChildProcess child("/bin/sh", shellWords(row.script), {}, NoStreams());
        CHECK(child.wait() == row.status);
        CHECK(hasNoChild());
    }
}

TEST_CASE("a child that has not ended at the deadline is killed and reaped") {
    WaitingChild child;
    CHECK_FALSE(child.process->succeeds(Clock::now()));
    CHECK(hasNoChild());
}

TEST_CASE("neither a child that takes no signal nor one that stopped outlives the deadline") {
    WaitingChild deaf("trap '' TERM INT HUP QUIT PIPE");
    CHECK_FALSE(deaf.process->succeeds(Clock::now() + 10ms));
    CHECK(hasNoChild());
    ChildProcess stopped("/bin/sh", shellWords("kill -STOP $$"), {}, NoStreams());
    CHECK_FALSE(stopped.succeeds(Clock::now() + 100ms));
    CHECK(hasNoChild());
}

TEST_CASE("a child that ends in time is waited for, however late it is asked about") {
    Pipe output;
    ChildStreams streams;
    streams.connectNull(STDIN_FILENO);
    streams.connect(output.writer.get(), STDOUT_FILENO);
    streams.connectNull(STDERR_FILENO);
    ChildProcess child("/bin/sh", shellWords("sleep 0.2; echo done"), {}, std::move(streams));
    CHECK(child.succeeds(inAnHour()));
    CHECK(output.content() == "done\n");
}

TEST_CASE("a child that nobody asks about is killed and reaped with its owner") {
    {
        const WaitingChild child;
        CHECK(hasChild());
    }
    CHECK(hasNoChild());
}

TEST_CASE("a child gets its arguments as they are") {
    CHECK(outputOf("/bin/sh", {"its own name", "-c", R"(printf '%s|' "$0" "$@")", "zero", "a b", "",
                               "*", "$HOME", "\"'\\", "caf\u00E9", "\xFF", "a\nb"}) ==
          "zero|a b||*|$HOME|\"'\\|caf\u00E9|\xFF|a\nb|");
}

TEST_CASE("a child gets exactly the environment that it is given") {
    const test::ScopedEnvironment secret("SORVANE_SECRET", "a");
    CHECK(outputOf("/usr/bin/env", {"env"}, {}).empty());
    CHECK(outputOf("/usr/bin/env", {"env"}, {"B=two words", "A=", "PATH=/none"}) ==
          "B=two words\nA=\nPATH=/none\n");
}

TEST_CASE("a child has all signals at their defaults, whatever this process does with them") {
    const ScopedSignal pipeIgnored(SIGPIPE, SIG_IGN);
    const ScopedSignal hangUpIgnored(SIGHUP, SIG_IGN);
    const ScopedSignal limitIgnored(SIGXFSZ, SIG_IGN);
    for (const std::string signal : {"PIPE", "HUP", "XFSZ"}) {
        CAPTURE(signal);
        CHECK_FALSE(shellSucceeds(std::string("ulimit -c 0; kill -") + signal + " $$; exit 0"));
    }
}

TEST_CASE("a child's end is learnt whatever this process does with its children's ends") {
    for (const SigchldUse& use : sigchldUses) {
        CAPTURE(use.name);
        const ScopedSigchld scope(use);
        CHECK(shellSucceeds("exit 0"));
        CHECK_FALSE(shellSucceeds("exit 3"));
        CHECK(shellStatus("exit 3") == 3);
        CHECK(shellStatus("sleep 0.05; exit 4") == 4);
        CHECK(shellStatus("kill -TERM $$") == SIGTERM);
        CHECK(outputOf("/bin/sh", shellWords("echo $PPID | wc -l; sleep 0.05")) == "1\n");
        CHECK(failureToStart("/nowhere") == std::errc::no_such_file_or_directory);
        CHECK(hasNoChild());
    }
}

TEST_CASE("what waits for a child beside this process runs none of its handlers") {
    for (const SigchldUse& use : sigchldUses) {
        CAPTURE(use.name);
        CHECK(test::inForkedChild([&] {
                  ::setpgid(0, 0);
                  handlersOwner = ::getpid();
                  const ScopedSignal handled(SIGWINCH, endOthers);
                  const ScopedSigchld scope(use);
                  return shellStatus("kill -WINCH 0; exit 3") == 3;
              }) == 0);
    }
}

TEST_CASE("a child that has not ended at the deadline is killed by a process of any SIGCHLD") {
    for (const SigchldUse& use : sigchldUses) {
        CAPTURE(use.name);
        const ScopedSigchld scope(use);
        WaitingChild child("trap '' TERM INT HUP");
        const Clock::time_point before = Clock::now();
        CHECK_FALSE(child.process->succeeds(Clock::now() + 20ms));
        CHECK(Clock::now() - before < 5s);
        CHECK(hasNoChild());
    }
}

TEST_CASE("a child's life leaves what this process does with SIGCHLD alone") {
    for (const SigchldUse& use : sigchldUses) {
        CAPTURE(use.name);
        const ScopedSigchld scope(use);
        {
            WaitingChild child;
            CHECK(scope.isPresent());
        }
        CHECK(scope.isPresent());
    }
}

TEST_CASE("two threads' children do not disturb one another's ends, nor SIGCHLD") {
    for (const SigchldUse& use : sigchldUses) {
        CAPTURE(use.name);
        const ScopedSigchld scope(use);
        std::atomic<int> wrong = 0;
        const auto runMany = [&wrong](int first) {
            for (int status = first; status < first + 20; ++status)
                if (shellStatus("exit " + std::to_string(status)) != status) ++wrong;
        };
        std::thread other(runMany, 100);
        runMany(10);
        other.join();
        CHECK(wrong == 0);
        CHECK(scope.isPresent());
        CHECK(hasNoChild());
    }
}

TEST_CASE("a child whose end is reported leaves no descriptor behind and takes none along") {
    const ScopedSigchld scope(sigchldUses[1]);
    const int before = ::dup(0);
    ::close(before);
    Pipe unrelated;
    {
        const WaitingChild child;
        unrelated.writer.reset();
        char byte = 0;
        CHECK(::read(unrelated.reader.get(), &byte, 1) == 0); // nobody else has the other end
    }
    unrelated.reader.reset();
    const int after = ::dup(0);
    ::close(after);
    CHECK(after == before);
}

TEST_CASE("a child has no signal blocked, whatever this process has") {
    sigset_t terminate;
    sigset_t before;
    sigemptyset(&terminate); // macros on some systems
    sigaddset(&terminate, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &terminate, &before);
    const bool survived = shellSucceeds("kill -TERM $$; exit 0");
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    CHECK_FALSE(survived);
}

TEST_CASE("a stream without a connection is empty and takes everything") {
    CHECK(shellSucceeds("test -z \"$(cat)\" && echo a && echo b >&2"));
}

TEST_CASE("streams are connected in the order of the calls") {
    Pipe first;
    Pipe second;
    ChildStreams streams;
    streams.connect(first.writer.get(), STDOUT_FILENO);
    streams.connect(second.writer.get(), STDOUT_FILENO);
    streams.connect(first.writer.get(), STDERR_FILENO);
    streams.connectNull(STDIN_FILENO);
    ChildProcess child("/bin/sh", shellWords("echo output; echo error >&2"), {},
                       std::move(streams));
    CHECK(child.succeeds(inAnHour()));
    CHECK(first.content() == "error\n");
    CHECK(second.content() == "output\n");
}

TEST_CASE("a stream that already has its number is handed on") {
    // As when this process was started without its standard streams.
    for (const int number : {0, 1, 2}) {
        CAPTURE(number);
        Pipe report;
        const int status = test::inForkedChild([&] {
            const int high = ::fcntl(report.writer.get(), F_DUPFD_CLOEXEC, 10);
            for (const int standard : {0, 1, 2}) ::close(standard);
            ::dup2(high, number);
            ::fcntl(number, F_SETFD, FD_CLOEXEC);
            ChildStreams streams;
            for (const int standard : {0, 1, 2}) streams.connect(number, standard);
            ChildProcess child("/bin/sh", shellWords("echo a; echo b >&2; echo c >&0"), {},
                               std::move(streams));
            return child.succeeds(inAnHour());
        });
        CHECK(status == 0);
        CHECK(report.content() == "a\nb\nc\n");
    }
}

TEST_CASE("a program that cannot be started is a failure with the system's reason") {
    const TemporaryDirectory directory;
    const auto put = [&](const char* name, std::string_view content, mode_t mode) {
        std::filesystem::path path = directory.path() / name;
        test::putFile(path, content);
        ::chmod(path.c_str(), mode);
        return path;
    };
    CHECK(failureToStart(directory.path() / "missing") == std::errc::no_such_file_or_directory);
    CHECK(failureToStart("") == std::errc::no_such_file_or_directory);
    CHECK(failureToStart(directory.path()) == std::errc::permission_denied);
    CHECK(failureToStart(put("closed", "#!/bin/sh\n", 0644)) == std::errc::permission_denied);
    // Whoever has a shell guess what a text without a first line means may run anything.
    CHECK(failureToStart(put("text", "exit 0\n", 0755)) == std::errc::executable_format_error);
    CHECK(failureToStart(put("nonsense",
                             "\x7F"
                             "ELF",
                             0755)) == std::errc::executable_format_error);
    CHECK_FALSE(failureToStart(put("script", "#!/bin/sh\nexit 0\n", 0755)));
    CHECK(hasNoChild());
}

TEST_CASE("a program is not searched for") {
    const test::ScopedEnvironment path("PATH", "/bin:/usr/bin");
    CHECK(failureToStart("sh") == std::errc::no_such_file_or_directory);
}
