#pragma once

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <sys/resource.h>

// What a confinement cannot do without.
namespace sorvane::decoder {

/// Throws std::system_error, of `fault` and the system's error, unless the call that was just made
/// has succeeded. The doctor shows the fault: it says what cannot be had.
inline void require(bool succeeded, const char* fault) {
    if (!succeeded) throw std::system_error(errno, std::generic_category(), fault);
}

/// Allows the process no more of a resource than this, nor more than it was allowed before: that
/// would be a privilege. There is no way back. Throws as `require`.
void limitResource(auto resource, rlim_t max, const char* fault) {
    rlimit limit{};
    require(::getrlimit(resource, &limit) == 0, fault);
    limit.rlim_cur = std::min(max, limit.rlim_cur);
    limit.rlim_max = std::min(max, limit.rlim_max);
    require(::setrlimit(resource, &limit) == 0, fault);
}

} // namespace sorvane::decoder
