#pragma once

#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

/// Reading and writing a file descriptor. An interrupted call is made again; a descriptor that its
/// owner set non-blocking is waited for, in reading without limit as a blocking one would, in
/// writing at most 2 seconds each time. Every other failure is answered with `errno` as the system
/// left it.
namespace sorvane {

/// One `read`: the number of bytes, 0 at the end, negative on failure.
ssize_t readSome(int descriptor, std::span<char> piece);

/// Appends everything up to the end. False on failure, with what came before it appended.
bool appendToEnd(int descriptor, std::string& content);

/// Whether the descriptor takes bytes within 2 seconds; one that can only fail does, at once.
bool becomesWritable(int descriptor);

/// Writes all bytes, in one `write` where the system takes them at once. False on failure.
bool writeAll(int descriptor, std::string_view bytes);

} // namespace sorvane
