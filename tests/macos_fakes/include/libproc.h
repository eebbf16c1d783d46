#pragma once

// For tests on other systems.

#include <cstdint>

extern "C" int proc_pidpath(int process, void* buffer, std::uint32_t capacity);
