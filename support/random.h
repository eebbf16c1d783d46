#pragma once

#include <span>

namespace sorvane {

/// Fills `bytes` (at most 256) from the system's generator, without opening a file.
/// Throws std::system_error when the system has none to give.
void fillRandom(std::span<unsigned char> bytes);

} // namespace sorvane
