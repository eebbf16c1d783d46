#include "support/child_isolation.h"

#include <system_error>

namespace sorvane {

int addConnection(posix_spawn_file_actions_t& actions, int descriptor, int as) {
    return ::posix_spawn_file_actions_adddup2(&actions, descriptor, as);
}

short closeOtherDescriptors(posix_spawn_file_actions_t& actions) {
    if (const int reason = ::posix_spawn_file_actions_addclosefrom_np(&actions, 3))
        throw std::system_error(reason, std::generic_category(), "closed descriptors");
    return 0;
}

} // namespace sorvane
