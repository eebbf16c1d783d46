#pragma once

// This system's own, and what macOS has beside it.

#include_next <sys/socket.h>

inline constexpr int SO_NOSIGPIPE = 0x1022;
