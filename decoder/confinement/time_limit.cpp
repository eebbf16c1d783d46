#include <sys/resource.h>
#include <unistd.h>

#include "decoder/confinement/confinement.h"

namespace sorvane::decoder {

// The alarm ends a decoder that waits; the processor time ends one that ignores the alarm.
void limitTime(std::chrono::seconds timeout) {
    const auto seconds = static_cast<rlim_t>(timeout.count());
    const rlimit processor{seconds, seconds};
    ::setrlimit(RLIMIT_CPU, &processor);
    ::alarm(static_cast<unsigned>(timeout.count()));
}

} // namespace sorvane::decoder
