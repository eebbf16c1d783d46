#pragma once

#include <sys/types.h>

// A killed child that has gigabytes to free is not gone at once. Who may not wait for it leaves it
// here; when this process ends first, the system reaps it.
namespace sorvane {

/// Remembers a killed child of this process, to be reaped later on. Without memory to remember it
/// stays unreaped until this process ends.
void abandonChild(pid_t child) noexcept;

/// Reaps the remembered children that have gone by now; waits for none.
void reapAbandonedChildren() noexcept;

} // namespace sorvane
