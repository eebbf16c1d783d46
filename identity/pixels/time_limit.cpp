#include "identity/pixels/time_limit.h"

#include <sys/resource.h>
#include <unistd.h>

namespace sorvane::pixels {

// The clock counts a decoder that waits; the processor time holds where the alarm is lost.
void limitTime(std::chrono::seconds limit) {
    const auto seconds = static_cast<rlim_t>(limit.count());
    const rlimit processor{seconds, seconds};
    ::setrlimit(RLIMIT_CPU, &processor);
    ::alarm(static_cast<unsigned>(limit.count()));
}

} // namespace sorvane::pixels
