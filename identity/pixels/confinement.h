#pragma once

#include <chrono>

namespace sorvane::pixels {

/// Gives up, for the rest of the process, everything that decoding a picture from standard input
/// to standard output does not need: time beyond `limit`, memory beyond what a picture within the
/// budget takes, files, descriptors, and whatever else the system lets a process give up. Called
/// before the first byte of the picture is read. What the system does not offer is left out.
void confine(std::chrono::seconds limit);

} // namespace sorvane::pixels
