#pragma once

#include <spawn.h>

namespace sorvane {

/// Keeps every descriptor above 2 out of a child that is about to be started, those too that this
/// process inherited. Called after all other actions are in; gives the start's further flags.
short closeOtherDescriptors(posix_spawn_file_actions_t& actions);

} // namespace sorvane
