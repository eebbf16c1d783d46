#pragma once

namespace sorvane::decoder {

/// Takes the right to open any file from the process, for good, and with it, where the kernel is
/// new enough, TCP, abstract sockets and signals to others: a second layer, kept by other parts of
/// the kernel than the filter of system calls. A kernel that has no such layer, or has it switched
/// off, changes nothing. Needs one free descriptor; the process must have renounced new privileges.
/// Throws std::system_error when the layer is there and cannot be had.
void forbidFilesAndNetwork();

} // namespace sorvane::decoder
