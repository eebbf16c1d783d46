#pragma once

#include <spawn.h>

namespace sorvane {

/// Adds the action that gives the child `descriptor` under the number `as`; the two may be equal.
/// Returns what the system's calls for actions return: 0 or an error number.
int addConnection(posix_spawn_file_actions_t& actions, int descriptor, int as);

/// Keeps every descriptor above 2 out of the child, including those that this process inherited.
/// To be called after all other actions have been added. Returns further flags for `posix_spawn`.
/// Throws std::system_error; the child must not be started then.
short closeOtherDescriptors(posix_spawn_file_actions_t& actions);

} // namespace sorvane
