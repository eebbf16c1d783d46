#include <csignal>
#include <ctime>

#include "decoder/confinement/confinement.h"
#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

// The timer ends a decoder that waits, the limit one that computes. An alarm would not do: its
// signal can be blocked, and the digest's thread needs the call that blocks.
void limitTime(std::chrono::seconds timeout) {
    limitResource(RLIMIT_CPU, static_cast<rlim_t>(timeout.count()), "RLIMIT_CPU cannot be set");
    sigevent end{};
    end.sigev_notify = SIGEV_SIGNAL;
    end.sigev_signo = SIGKILL;
    timer_t timer{};
    require(::timer_create(CLOCK_MONOTONIC, &end, &timer) == 0, "the timer cannot be created");
    const itimerspec once{{}, {timeout.count(), 0}};
    require(::timer_settime(timer, 0, &once, nullptr) == 0, "the timer cannot be started");
}

} // namespace sorvane::decoder
