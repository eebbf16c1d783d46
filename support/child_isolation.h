#pragma once

#include <spawn.h>

namespace sorvane {

/// Gives the child the descriptor under the number `as`, which may be its own. Answers as the
/// system's calls for actions do: 0, or the number of an error.
int addConnection(posix_spawn_file_actions_t& actions, int descriptor, int as);

/// Keeps every descriptor above 2 out of a child that is about to be started, those too that this
/// process inherited. Called after all other actions are in; gives the start's further flags.
/// Throws std::system_error: a child that would have them is not to be started.
short closeOtherDescriptors(posix_spawn_file_actions_t& actions);

} // namespace sorvane
