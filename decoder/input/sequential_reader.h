#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "decoder/input/byte_source.h"

namespace sorvane::decoder {

/// A file's bytes in their order, with the place that has been reached: for the formats that give
/// the places of their parts and lay them out so that none lies behind.
class SequentialReader {
  public:
    /// Begins at the place 0, the next byte of `file`, which must outlive this.
    explicit SequentialReader(ByteSource& file) : file_(file) {}

    /// False when the file ends before `to` is full.
    bool read(std::span<std::uint8_t> to) noexcept;

    /// The next byte; nothing at the end of the file.
    std::optional<std::uint8_t> byte() noexcept;

    /// Passes over `count` bytes, keeping none. False when the file ends among them.
    bool skip(std::uint64_t count) noexcept;

    /// Goes on to `place`. False when it lies behind, or beyond the end of the file.
    bool skipTo(std::uint64_t place) noexcept;

    std::uint64_t place() const { return place_; }

  private:
    ByteSource& file_;
    std::uint64_t place_ = 0;
};

} // namespace sorvane::decoder
