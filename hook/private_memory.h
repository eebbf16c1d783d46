#pragma once

namespace sorvane {

/// Keeps what the process's memory holds out of core files and, where the system has a word for it,
/// from other processes of the same user: for the rest of the process. What the system refuses of
/// it stays as it is; a prompt does not wait for that.
void keepMemoryPrivate() noexcept;

} // namespace sorvane
