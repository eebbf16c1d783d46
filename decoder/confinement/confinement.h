#pragma once

#include <chrono>
#include <cstdint>

namespace sorvane::decoder {

/// Gives up, for the rest of the process, whatever decoding a picture from standard input to
/// standard output does not need, as far as the system offers it: address space beyond what
/// `memory` bytes and a bare process take, files, descriptors, most system calls. The process is
/// the first to go when the machine runs out of memory, and ends with the one that started it.
/// Called before anything of the picture is decoded. Throws std::system_error, which names what the
/// system refused: a process that is not confined is to decode nothing.
void confine(std::uint64_t memory);

/// Has the process killed, without an answer, once this much time or processor time has passed.
/// Throws as `confine`.
void limitTime(std::chrono::seconds timeout);

} // namespace sorvane::decoder
