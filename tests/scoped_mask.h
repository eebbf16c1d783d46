#pragma once

#include <sys/stat.h>

namespace sorvane::test {

/// The process's mask for new files for the time of a scope.
class ScopedMask {
  public:
    explicit ScopedMask(mode_t mask) : before_(::umask(mask)) {}
    ScopedMask(const ScopedMask&) = delete;
    ScopedMask& operator=(const ScopedMask&) = delete;
    ~ScopedMask() { ::umask(before_); }

  private:
    mode_t before_;
};

} // namespace sorvane::test
