// A kernel queue reports how a child ended, before anybody can reap it. The child is started
// suspended, so that it cannot end before it is watched.

#include "support/child_status.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <sys/event.h>
#include <sys/wait.h>

#include "support/abandoned_children.h"

namespace sorvane {

namespace {

void reap(pid_t child) {
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
}

bool watchEnd(int queue, pid_t child) {
    struct kevent watch;
    EV_SET(&watch, child, EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT | NOTE_EXITSTATUS, 0,
           nullptr);
    return ::kevent(queue, &watch, 1, nullptr, 0, nullptr) == 0;
}

// The wait status, or nothing when `timeout`, which may be null, has passed or a signal came.
std::optional<int> nextEnd(int queue, const timespec* timeout) {
    struct kevent event;
    if (::kevent(queue, nullptr, 0, &event, 1, timeout) <= 0) return std::nullopt;
    return static_cast<int>(event.data);
}

ChildEnd endOf(int status) { // some systems' macros take its address
    if (WIFEXITED(status)) return {true, WEXITSTATUS(status)};
    return {false, WTERMSIG(status)};
}

} // namespace

ChildStatus::ChildStatus(const char* path, const posix_spawn_file_actions_t& actions,
                         posix_spawnattr_t& attributes, char* const* arguments,
                         char* const* environment)
    : reports_(::kqueue()) {
    reapAbandonedChildren();
    const auto check = [path](int failure) {
        if (failure != 0) throw std::system_error(failure, std::generic_category(), path);
    };
    if (!reports_) check(errno);
    short flags = 0;
    check(::posix_spawnattr_getflags(&attributes, &flags));
    flags = static_cast<short>(flags | POSIX_SPAWN_START_SUSPENDED);
    check(::posix_spawnattr_setflags(&attributes, flags));
    check(::posix_spawn(&program_, path, &actions, &attributes, arguments, environment));
    if (!watchEnd(reports_.get(), program_)) {
        const int failure = errno;
        ::kill(program_, SIGKILL);
        reap(program_);
        check(failure);
    }
    ::kill(program_, SIGCONT);
}

ChildEnd ChildStatus::awaitEnd() {
    std::optional<int> status;
    while (!status) status = nextEnd(reports_.get(), nullptr);
    reap(program_);
    return endOf(*status);
}

std::optional<ChildEnd> ChildStatus::awaitEnd(Clock::time_point deadline) {
    std::optional<int> status;
    while (!status) {
        using namespace std::chrono;
        const auto left = std::max(duration_cast<nanoseconds>(deadline - Clock::now()), 0ns);
        const auto whole = duration_cast<seconds>(left);
        const timespec timeout{whole.count(), static_cast<long>((left - whole).count())};
        status = nextEnd(reports_.get(), &timeout);
        if (!status && left == 0ns) return std::nullopt;
    }
    reap(program_);
    return endOf(*status);
}

void ChildStatus::kill() {
    ::kill(program_, SIGKILL);
    if (!awaitEnd(Clock::now() + killTimeout)) abandonChild(program_);
}

} // namespace sorvane
