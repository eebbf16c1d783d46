#pragma once

#include <utility>

#include <unistd.h>

namespace sorvane {

/// Owns one file descriptor and closes it exactly once; -1 owns nothing.
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

    // The analyzer does not follow members through structured bindings.
    // NOLINTBEGIN(clang-analyzer-*)
    void reset() {
        if (descriptor_ >= 0) close();
    }

    /// Closes what is owned; nothing is owned afterwards in any case. False, with `errno`, when the
    /// system reports only now that something written is lost, as network file systems do.
    bool close() { return ::close(std::exchange(descriptor_, -1)) == 0; }
    // NOLINTEND(clang-analyzer-*)

  private:
    int descriptor_ = -1;
};

} // namespace sorvane
