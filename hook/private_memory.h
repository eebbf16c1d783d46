#pragma once

namespace sorvane {

/// Keeps this process's memory out of core files and, where the system offers it, from other
/// processes of the same user, until it ends. What the system refuses of it stays as it is; a
/// prompt does not wait for that.
void keepMemoryPrivate() noexcept;

} // namespace sorvane
