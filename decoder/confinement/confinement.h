#pragma once

#include <chrono>
#include <cstdint>

namespace sorvane::decoder {

/// Gives up, for the rest of the process, whatever decoding a picture from standard input to
/// standard output does not need, as far as the system offers it: address space beyond what
/// `memory` bytes and a bare process take, files, descriptors, most system calls. Called before
/// anything of the picture is decoded.
void confine(std::uint64_t memory);

/// Has the process killed, without an answer, once this much time or processor time has passed.
void limitTime(std::chrono::seconds timeout);

} // namespace sorvane::decoder
