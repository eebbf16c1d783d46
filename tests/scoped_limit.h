#pragma once

#include <sys/resource.h>

namespace sorvane::test {

/// Says what the process may have of a resource for the time of a scope.
class ScopedLimit {
  public:
    ScopedLimit(int resource, rlim_t max) : resource_(resource) {
        ::getrlimit(resource_, &before_);
        const rlimit meanwhile{max, before_.rlim_max};
        ::setrlimit(resource_, &meanwhile);
    }
    ScopedLimit(const ScopedLimit&) = delete;
    ScopedLimit& operator=(const ScopedLimit&) = delete;
    ~ScopedLimit() { ::setrlimit(resource_, &before_); }

  private:
    int resource_;
    rlimit before_{};
};

} // namespace sorvane::test
