#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

/// Reading and writing a file descriptor. An interrupted call is made again, and a non-blocking
/// descriptor is waited for as a blocking one would be. Every other failure is returned, with
/// `errno` as the system left it.
namespace sorvane {

/// Waits until the descriptor is ready for `event`, POLLIN or POLLOUT, or a call would fail at
/// once. False on failure, with ETIMEDOUT when the deadline has passed; it is looked at once even
/// then.
bool awaitReady(int descriptor, short event, std::chrono::steady_clock::time_point deadline);

/// One `read`: the number of bytes, 0 at the end, negative on failure.
ssize_t readSome(int descriptor, std::span<char> piece);

/// Appends everything up to the end. Memory is reserved for what is known to be waiting, and
/// doubled when that is not enough. False on failure; what came before it has been appended.
bool appendToEnd(int descriptor, std::string& content);

/// Writes all bytes, in one `write` if the system takes them at once. False on failure.
bool writeAll(int descriptor, std::string_view bytes);

/// The same within a timeout, for a descriptor whose reader may have stopped reading. Whether the
/// descriptor blocks does not matter and is not changed. False on failure, with ETIMEDOUT when the
/// timeout has passed before the last byte was taken. What was written until then stays written.
bool writeWithin(std::chrono::milliseconds timeout, int descriptor, std::string_view bytes);

} // namespace sorvane
