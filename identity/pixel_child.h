#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/child_process.h"
#include "support/unique_descriptor.h"

namespace sorvane {

/// The digest of a picture's upright pixels, and its size as the file declares it.
struct PixelIdentity {
    std::string hash;
    std::int64_t width;
    std::int64_t height;
};

/// The line "DIGEST WIDTH HEIGHT\n" of a decoder, or nothing when it is anything else: not 64
/// lower-case hexadecimal digits, not two positive decimal numbers, more pixels than are decoded.
std::optional<PixelIdentity> parsePixelAnswer(std::string_view line);

/// Where a decoder may lie, in the order in which it is tried: beside the running executable, in
/// ../libexec/sorvane seen from it, at the place compiled in. Never found through PATH or another
/// variable.
std::vector<std::filesystem::path> decoderCandidates(std::string_view program);

/// A decoder at work on one file, in a process of its own that holds no secret: the file's bytes
/// are poured in, one line comes back. Nothing here throws but for want of memory, and nothing
/// waits longer than 10 seconds after the start: a decoder that is missing, dies, hangs or answers
/// nonsense gives no identity. It is killed, if need be, and reaped before the object is gone.
class PixelChild {
  public:
    explicit PixelChild(std::string_view program);

    /// Hands over the next piece of the file.
    void pour(std::string_view piece);

    /// Ends the input and takes the answer; called once.
    std::optional<PixelIdentity> answer();

  private:
    bool waitFor(short event) const;
    std::string receive() const;

    ChildProcess::Clock::time_point deadline_;
    UniqueDescriptor socket_;
    std::optional<ChildProcess> process_;
};

} // namespace sorvane
