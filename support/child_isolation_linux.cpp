#include "support/child_isolation.h"

namespace sorvane {

short closeOtherDescriptors(posix_spawn_file_actions_t& actions) {
    ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    return 0;
}

} // namespace sorvane
