#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "decoder/input/byte_source.h"

namespace sorvane::decoder {

/// A file's bytes in order, with the offset that has been reached: for formats whose parts lie in
/// the order in which they are read.
class SequentialReader {
  public:
    /// Offset 0 is the next byte of `file`, which must outlive this.
    explicit SequentialReader(ByteSource& file) : file_(file) {}

    /// False when the file ends before `to` is full.
    bool read(std::span<std::uint8_t> to) noexcept;

    /// The next byte; nothing at the end of the file.
    std::optional<std::uint8_t> byte() noexcept;

    /// Skips `count` bytes. False when the file ends among them.
    bool skip(std::uint64_t count) noexcept;

    /// Skips to `offset`. False when that has been passed, or lies beyond the end of the file.
    bool skipTo(std::uint64_t offset) noexcept;

    std::uint64_t offset() const { return offset_; }

  private:
    ByteSource& file_;
    std::uint64_t offset_ = 0;
};

} // namespace sorvane::decoder
