// A child's status goes to whoever waits first, and is lost in a process that ignores SIGCHLD. A
// child made with another exit signal does not help: at exec the kernel sets the signal to SIGCHLD.
// So where this process ignores or handles SIGCHLD, a fork of it, in which the signal has its
// default, starts the program, waits for it and reports.

#include "support/child_status.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/abandoned_children.h"
#include "support/descriptor_io.h"
#include "support/unix_socket.h"

namespace sorvane {

namespace {

using Clock = ChildStatus::Clock;

// What is said of a child whose status somebody else has taken.
constexpr ChildEnd unknownEnd{false, SIGKILL};

struct StartReport {
    int failure; // an error number, or 0
    pid_t program;
};

// A handler does not count as default: it may reap every child.
bool hasDefaultSigchld() {
    struct sigaction present {};
    ::sigaction(SIGCHLD, nullptr, &present);
    return present.sa_handler == SIG_DFL && (present.sa_flags & SA_NOCLDWAIT) == 0;
}

void send(int socket, const auto& report) { ::send(socket, &report, sizeof report, MSG_NOSIGNAL); }

// Leaves the report as it is when none comes.
void receive(int socket, auto& report) {
    auto received = report;
    ssize_t count = 0;
    do {
        count = ::recv(socket, &received, sizeof received, MSG_WAITALL);
    } while (count < 0 && errno == EINTR);
    if (count == sizeof received) report = received;
}

std::optional<ChildEnd> endOf(pid_t child, int options) {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | options) < 0)
        if (errno != EINTR) return unknownEnd;
    if (info.si_pid == 0) return std::nullopt;
    return ChildEnd{info.si_code == CLD_EXITED, info.si_status};
}

// A child that has closed its streams ends within microseconds: the pauses begin there and double
// up to what nobody notices.
constexpr long firstPauseNanoseconds = 20'000;
constexpr long maxPauseNanoseconds = 5'000'000;

std::optional<ChildEnd> pollEnd(pid_t child, Clock::time_point deadline) {
    timespec pause{0, firstPauseNanoseconds};
    while (true) {
        const auto end = endOf(child, WNOHANG);
        if (end || Clock::now() >= deadline) return end;
        ::nanosleep(&pause, nullptr);
        pause.tv_nsec = std::min(2 * pause.tv_nsec, maxPauseNanoseconds);
    }
}

// The fork's whole life. It has all descriptors of this process and must close them: somebody
// waits for the end of what is written to one. It does not reap the program before this process has
// taken the report, so that the program's number names nothing else as long as it may be killed.
[[noreturn]] void startAndReport(int socket, const auto& start) {
    std::signal(SIGCHLD, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // and the program, if it wishes so, with this process
    StartReport started{};
    started.failure = start(started.program);
    ::dup2(socket, 0);
    ::closefrom(1);
    send(0, started);
    if (started.failure != 0) ::_exit(0);
    send(0, endOf(started.program, WNOWAIT).value_or(unknownEnd));
    char taken = 0;
    receive(0, taken);
    ::_exit(0);
}

// With every signal blocked: the fork must not run this process's handlers, and an interrupt from
// the terminal reaches both.
pid_t forkWithoutSignals(const auto& body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::fork();
    if (child == 0) body();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

} // namespace

ChildStatus::ChildStatus(const char* path, const posix_spawn_file_actions_t& actions,
                         posix_spawnattr_t& attributes, char* const* arguments,
                         char* const* environment) {
    reapAbandonedChildren();
    const auto check = [path](int failure) {
        if (failure != 0) throw std::system_error(failure, std::generic_category(), path);
    };
    const auto start = [&](pid_t& program) {
        return ::posix_spawn(&program, path, &actions, &attributes, arguments, environment);
    };
    if (hasDefaultSigchld()) {
        check(start(program_));
        return;
    }
    auto [ours, theirs] = makeSocketPair();
    if (!ours) check(errno);
    waiter_ = forkWithoutSignals([&, socket = theirs.get()] { startAndReport(socket, start); });
    if (waiter_ < 0) check(errno);
    theirs.reset();
    reports_ = std::move(ours);
    StartReport started{ECHILD, -1};
    receive(reports_.get(), started);
    program_ = started.program;
    if (started.failure != 0) endReports();
    check(started.failure);
}

ChildEnd ChildStatus::awaitEnd() {
    if (!reports_) return endOf(program_, 0).value_or(unknownEnd);
    ChildEnd end = unknownEnd;
    receive(reports_.get(), end);
    endReports();
    return end;
}

std::optional<ChildEnd> ChildStatus::awaitEnd(Clock::time_point deadline) {
    if (!reports_) return pollEnd(program_, deadline);
    if (!awaitReady(reports_.get(), POLLIN, deadline)) return std::nullopt;
    return awaitEnd();
}

void ChildStatus::kill() {
    ::kill(program_, SIGKILL);
    if (awaitEnd(Clock::now() + killTimeout)) return;
    abandonChild(reports_ ? waiter_ : program_);
}

void ChildStatus::endReports() {
    send(reports_.get(), 'x');
    reports_.reset();
    while (::waitpid(waiter_, nullptr, 0) < 0 && errno == EINTR) continue;
}

} // namespace sorvane
