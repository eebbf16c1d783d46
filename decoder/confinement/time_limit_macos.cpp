#include <unistd.h>

#include "decoder/confinement/confinement.h"
#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

// The alarm ends a decoder that waits; the processor time ends one that ignores the alarm.
void limitTime(std::chrono::seconds timeout) {
    limitResource(RLIMIT_CPU, static_cast<rlim_t>(timeout.count()), "RLIMIT_CPU cannot be set");
    ::alarm(static_cast<unsigned>(timeout.count()));
}

} // namespace sorvane::decoder
