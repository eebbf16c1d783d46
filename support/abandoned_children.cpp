#include "support/abandoned_children.h"

#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>
#include <vector>

#include <sys/wait.h>

namespace sorvane {

namespace {

// Any thread may start and abandon children.
std::mutex guard;
std::vector<pid_t> abandoned;

bool isReaped(pid_t child) {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG) < 0)
        if (errno != EINTR) return true; // somebody else has reaped it
    return info.si_pid != 0;
}

} // namespace

void abandonChild(pid_t child) noexcept try {
    const std::lock_guard lock(guard);
    abandoned.push_back(child);
} catch (const std::bad_alloc&) {
    // A few bytes of the system's table, until this process ends.
}

void reapAbandonedChildren() noexcept {
    const std::lock_guard lock(guard);
    std::erase_if(abandoned, isReaped);
}

} // namespace sorvane
