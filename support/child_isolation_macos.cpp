#include "support/child_isolation.h"

namespace sorvane {

// A descriptor duplicated onto itself would keep its close-on-exec flag.
int addConnection(posix_spawn_file_actions_t& actions, int descriptor, int as) {
    if (descriptor == as) return ::posix_spawn_file_actions_addinherit_np(&actions, descriptor);
    return ::posix_spawn_file_actions_adddup2(&actions, descriptor, as);
}

// With this flag the kernel closes every descriptor that no action has added.
short closeOtherDescriptors(posix_spawn_file_actions_t& /*actions*/) {
    return POSIX_SPAWN_CLOEXEC_DEFAULT;
}

} // namespace sorvane
