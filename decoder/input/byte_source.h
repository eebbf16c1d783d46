#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace sorvane::decoder {

/// The file's bytes in order, each once, through one small buffer. A read that fails is the end of
/// the file. Nothing here throws, so decoders written in C may call it.
class ByteSource {
    // Large enough that a file of megabytes is a few hundred reads, small beside what a decoder
    // takes.
    static constexpr std::size_t bufferSize = 65'536;

  public:
    /// Reads from `descriptor`, which stays the caller's.
    explicit ByteSource(int descriptor) : descriptor_(descriptor) {}
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    /// The next bytes without taking them: `count` of them (at most the buffer's size), or all
    /// that are left. Valid until the next call.
    std::string_view peek(std::size_t count) noexcept;

    /// Takes bytes until `to` is full; gives how many came, fewer only at the end of the file.
    std::size_t read(std::span<std::uint8_t> to) noexcept;

    /// Takes the bytes that are ready, `maxCount` at most; at least one unless the file is at its
    /// end or `maxCount` is 0. Valid until the next call.
    std::span<const std::uint8_t> takePiece(std::size_t maxCount = bufferSize) noexcept;

    /// Takes the rest, so that whoever writes the file is not cut short.
    void drain() noexcept;

  private:
    bool fill() noexcept;

    int descriptor_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<std::uint8_t, bufferSize> buffer_;
};

} // namespace sorvane::decoder
