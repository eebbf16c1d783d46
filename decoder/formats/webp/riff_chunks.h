#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "decoder/input/byte_source.h"

namespace sorvane::decoder {

/// A chunk's beginning: its name of four letters, and the length of its data.
struct RiffChunk {
    std::array<char, 4> letters{};
    std::uint32_t size = 0;

    std::string_view name() const { return {letters.data(), letters.size()}; }
};

/// The chunks in a stretch of a file, one after the other, forwards only. Nothing is kept.
class RiffChunks {
  public:
    /// The chunks in the next `length` bytes of `file`, which must outlive this.
    RiffChunks(ByteSource& file, std::uint64_t length) : file_(&file), left_(length) {}

    /// The chunks in the rest of `outer`'s current chunk.
    explicit RiffChunks(RiffChunks& outer) : outer_(&outer), left_(outer.unread_) {}

    /// Goes on to the next chunk. Nothing at the end, or where the stretch ends within a chunk.
    std::optional<RiffChunk> next();

    /// Reads the current chunk's next bytes until `to` is full; returns how many came, fewer only
    /// at the end of its data or of the file.
    std::size_t read(std::span<std::uint8_t> to);

    /// True once the file has ended before the stretch did.
    bool cut() const { return cut_; }

  private:
    std::size_t take(std::span<std::uint8_t> to);
    void skip(std::uint64_t count);

    ByteSource* file_ = nullptr;
    RiffChunks* outer_ = nullptr;
    std::uint64_t left_;
    std::uint64_t unread_ = 0;
    std::uint64_t padding_ = 0;
    bool cut_ = false;
};

} // namespace sorvane::decoder
