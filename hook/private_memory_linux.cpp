#include "hook/private_memory.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace sorvane {

// Some systems hand a core to a program whatever the limit, but none of a process that may not be
// dumped; and nobody but root may then trace it or read its memory.
void keepMemoryPrivate() noexcept {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

} // namespace sorvane
