#pragma once

#include <chrono>
#include <cstdint>

namespace sorvane::decoder {

/// Gives up, for the rest of the process, everything that decoding a picture from standard input
/// to standard output does not need: address space beyond what `memory` bytes and a bare process
/// take, files, descriptors, and whatever else the system lets a
/// process give up. Called before the first byte of the picture is read. What the system does not
/// offer is left out.
void confine(std::uint64_t memory);

/// The program ends, killed without an answer, once this much time or processor time has passed.
void limitTime(std::chrono::seconds timeout);

} // namespace sorvane::decoder
