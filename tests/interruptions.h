#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#include <sys/time.h>

#include "tests/scoped_signal.h"

namespace sorvane::test {

/// Interrupts the process with a signal that is handled, every millisecond for the time of a scope.
/// One at a time.
class Interruptions {
  public:
    Interruptions() {
        number = 0;
        const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
        ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval never{};
        ::setitimer(ITIMER_REAL, &never, nullptr);
    }

    static int count() { return number; }

    /// Returns after so many further ones.
    static void await(int further) {
        const int enough = number + further;
        while (number < enough) std::this_thread::yield();
    }

  private:
    static inline std::atomic<int> number = 0;

    const ScopedSignal handler_{SIGALRM, [](int) { ++number; }};
};

} // namespace sorvane::test
