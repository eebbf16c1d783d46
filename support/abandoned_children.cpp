#include "support/abandoned_children.h"

#include <cerrno>
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
    pid_t answer = 0;
    do {
        answer = ::waitpid(child, nullptr, WNOHANG);
    } while (answer < 0 && errno == EINTR);
    return answer != 0; // also when somebody else has reaped it
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
