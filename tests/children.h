#pragma once

#include <chrono>
#include <thread>

#include <sys/wait.h>

#include "support/abandoned_children.h"

namespace sorvane::test {

/// Whether this process has a child that runs or has not been reaped.
inline bool hasChild() {
    siginfo_t child{};
    return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// Whether every child has been reaped. On a busy machine one that was killed may be abandoned
/// first: it is waited for, and reaped here.
inline bool hasNoChild() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (hasChild() && std::chrono::steady_clock::now() < deadline) {
        reapAbandonedChildren();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return !hasChild();
}

} // namespace sorvane::test
