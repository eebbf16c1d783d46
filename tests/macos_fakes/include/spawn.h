#pragma once

// This system's own, and what macOS has beside it.

#include_next <spawn.h>

inline constexpr short POSIX_SPAWN_CLOEXEC_DEFAULT = 0x4000;

extern "C" int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* actions,
                                                      int descriptor);
