#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace sorvane::decoder {

/// The file's bytes in order, each once unless they are kept, through one small buffer. A read that
/// fails is the end of the file. Nothing here throws, so decoders written in C may call it.
class ByteSource {
    // Large enough that a file of megabytes is a few hundred reads, small beside the 16 MiB that
    // the whole process may use.
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

    /// Keeps the bytes from here on, to be read again after `rewind`: at most `maxSize`, and none
    /// once there are more. 0 ends the keeping.
    void keep(std::size_t maxSize) noexcept;

    /// Goes back to where the keeping began, and ends it. False when the bytes since are not kept.
    bool rewind() noexcept;

    /// Takes the rest, so that whoever writes the file is not cut short.
    void drain() noexcept;

  private:
    bool fill() noexcept;
    bool refill() noexcept;
    void addKept(std::span<const std::uint8_t> bytes) noexcept;

    int descriptor_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<std::uint8_t, bufferSize> buffer_;
    std::unique_ptr<std::uint8_t[]> kept_;
    std::size_t maxKept_ = 0;
    std::size_t keptSize_ = 0;
    // While kept bytes are being read again: how many of them have been.
    std::optional<std::size_t> reread_;
};

} // namespace sorvane::decoder
