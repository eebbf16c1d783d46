#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "decoder/input/byte_source.h"

namespace sorvane::decoder {

/// A file for the formats whose readers jump about in it. It is read no further than it is asked
/// for, and what has been read is kept, so a picture takes as much memory as lies before its own
/// last byte, whatever follows.
class BufferedFile {
  public:
    /// Keeps at most `limit` bytes of `file`, which must outlive this: what lies beyond is as if
    /// the file had ended.
    BufferedFile(ByteSource& file, std::size_t limit) : file_(file), limit_(limit) {}

    /// Up to `count` bytes from `offset` on, fewer only at the end. Valid until the next call. For
    /// want of memory, too, the file ends; nothing here throws, so decoders written in C may call
    /// it.
    std::span<const std::uint8_t> at(std::uint64_t offset, std::size_t count) noexcept;

  private:
    void keep(std::size_t end) noexcept;
    bool grow(std::size_t capacity) noexcept;

    struct Free {
        void operator()(void* bytes) const { std::free(bytes); }
    };

    ByteSource& file_;
    std::size_t limit_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    // Not a vector: this memory grows in place, or is moved by the system without being copied.
    std::unique_ptr<std::uint8_t, Free> bytes_;
};

} // namespace sorvane::decoder
