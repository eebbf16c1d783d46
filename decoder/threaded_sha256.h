#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "support/sha256.h"

namespace sorvane::decoder {

/// An incremental SHA-256 over a picture's pixels. Those of a large picture are digested on a
/// second thread, while the first decodes on; where the system gives no thread they are digested as
/// they come. It is fed from one thread.
class ThreadedSha256 {
  public:
    /// `prefix` goes into the digest first; `pixelBytes` bytes of pixels are to come.
    ThreadedSha256(std::string_view prefix, std::uint64_t pixelBytes);
    ThreadedSha256(const ThreadedSha256&) = delete;
    ThreadedSha256& operator=(const ThreadedSha256&) = delete;
    ~ThreadedSha256();

    /// `bytes` may be reused when it returns.
    void update(const std::uint8_t* bytes, std::size_t count);

    /// 64 lower-case hexadecimal digits; called once, after the last pixel.
    std::string hex();

    /// The least that is worth a thread: starting one takes as long as digesting some 100 KB.
    static constexpr std::uint64_t minThreadedBytes = std::uint64_t{1} << 20;

  private:
    class Thread;

    Sha256 digest_;
    std::unique_ptr<Thread> thread_;
};

} // namespace sorvane::decoder
