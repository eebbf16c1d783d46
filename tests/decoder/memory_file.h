#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include <sys/mman.h>
#include <unistd.h>

namespace sorvane::test {

/// A file that lies in no folder, to be read from its beginning; one serves for many contents.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(::memfd_create("picture", MFD_CLOEXEC)) {}
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(descriptor_); }

    int holding(std::span<const std::uint8_t> content) const {
        bool good = ::ftruncate(descriptor_, 0) == 0 && ::lseek(descriptor_, 0, SEEK_SET) == 0;
        while (good && !content.empty()) {
            const ssize_t count = ::write(descriptor_, content.data(), content.size());
            good = count > 0;
            if (good) content = content.subspan(static_cast<std::size_t>(count));
        }
        if (!good || ::lseek(descriptor_, 0, SEEK_SET) != 0)
            throw std::runtime_error("no file in memory");
        return descriptor_;
    }

  private:
    int descriptor_;
};

} // namespace sorvane::test
