// Other processes need the right to debug anyway, and a program that is signed for release gives it
// to none. To refuse debuggers (PT_DENY_ATTACH) would end the hook under one, which nobody has
// asked for, and is no bar to who may debug the system.

#include "hook/private_memory.h"

#include <sys/resource.h>

namespace sorvane {

void keepMemoryPrivate() noexcept {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace sorvane
