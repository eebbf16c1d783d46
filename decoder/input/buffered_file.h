#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "decoder/input/byte_source.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

/// A file for formats that are read at any offset. It is read no further than it is asked for, and
/// what has been read is kept: a picture takes as much memory as the file up to the picture's last
/// byte.
class BufferedFile {
  public:
    /// Keeps at most `maxSize` bytes of `file`, which must outlive this; after them the file counts
    /// as ended.
    BufferedFile(ByteSource& file, std::size_t maxSize) : file_(file), maxSize_(maxSize) {}

    /// Up to `count` bytes from `offset` on, fewer only at the end of the file or for want of
    /// memory. Valid until the next call. Nothing here throws, so decoders written in C may call
    /// it.
    std::span<const std::uint8_t> at(std::uint64_t offset, std::size_t count) noexcept;

  private:
    void keep(std::size_t end) noexcept;
    bool grow(std::size_t capacity) noexcept;

    ByteSource& file_;
    std::size_t maxSize_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    // Not a vector: `realloc` often grows without copying.
    std::unique_ptr<std::uint8_t, Release<std::free>> bytes_;
};

} // namespace sorvane::decoder
