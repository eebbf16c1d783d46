#include "support/child_isolation.h"

namespace sorvane {

// A descriptor that is put where it is already would keep its mark to be closed at the start.
int addConnection(posix_spawn_file_actions_t& actions, int descriptor, int as) {
    if (descriptor == as) return ::posix_spawn_file_actions_addinherit_np(&actions, descriptor);
    return ::posix_spawn_file_actions_adddup2(&actions, descriptor, as);
}

// The start itself closes what no action put there.
short closeOtherDescriptors(posix_spawn_file_actions_t& /*actions*/) {
    return POSIX_SPAWN_CLOEXEC_DEFAULT;
}

} // namespace sorvane
