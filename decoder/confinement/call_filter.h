#pragma once

namespace sorvane::decoder {

/// Leaves the process only the system calls, and only with those arguments, that decoding from
/// standard input to standard output needs; any other kills it, for good. Wants that the process
/// has renounced new privileges. Throws std::system_error when the filter cannot be had.
void filterCalls();

} // namespace sorvane::decoder
