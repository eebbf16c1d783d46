#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

/// Reading and writing a file descriptor. An interrupted call is made again, and a descriptor that
/// its owner set non-blocking is waited for as a blocking one would be. Every other failure is
/// answered with `errno` as the system left it.
namespace sorvane {

/// One `read`: the number of bytes, 0 at the end, negative on failure.
ssize_t readSome(int descriptor, std::span<char> piece);

/// Appends everything up to the end. Room is taken for what is known to wait, and doubled when that
/// is not enough. False on failure, with what came before it appended.
bool appendToEnd(int descriptor, std::string& content);

/// Writes all bytes, in one `write` where the system takes them at once. False on failure.
bool writeAll(int descriptor, std::string_view bytes);

/// Writes all bytes to a descriptor that may give no room for them, in one `write` where the system
/// takes them at once, else the rest as there comes room; whether it blocks does not matter, and is
/// not changed. False on failure, which is ETIMEDOUT when the timeout has passed before the last
/// byte was taken. What was written by then stays written.
bool writeWithin(std::chrono::milliseconds timeout, int descriptor, std::string_view bytes);

} // namespace sorvane
