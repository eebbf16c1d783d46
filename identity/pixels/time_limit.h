#pragma once

#include <chrono>

namespace sorvane::pixels {

/// The program ends, killed without an answer, once this much time or processor time has passed.
void limitTime(std::chrono::seconds limit);

} // namespace sorvane::pixels
