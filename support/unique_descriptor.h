#pragma once

#include <utility>

#include <unistd.h>

namespace sorvane {

/// Owns one file descriptor and closes it exactly once; -1 owns nothing. The result of `close` is
/// ignored: everything that must be known about a write is known before.
class UniqueDescriptor {
  public:
    UniqueDescriptor() = default;
    explicit UniqueDescriptor(int descriptor) : descriptor_(descriptor) {}
    UniqueDescriptor(UniqueDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    UniqueDescriptor& operator=(UniqueDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~UniqueDescriptor() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    void reset() {
        // NOLINTNEXTLINE(clang-analyzer-*): it loses the members of a pair that is taken apart
        if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
    }

  private:
    int descriptor_ = -1;
};

} // namespace sorvane
