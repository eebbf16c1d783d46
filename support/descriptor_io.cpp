#include "support/descriptor_io.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "support/nonblocking_writer.h"

namespace sorvane {

namespace {

// Small enough to stay in the processor's first cache until it is appended. Reading straight into
// the string would write zeros there first.
constexpr std::size_t pieceSize = 16'384;

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// After a failed call: whether to make it again, once the descriptor is ready.
bool retries(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    constexpr int withoutLimit = -1;
    pollfd waiting{descriptor, event, 0};
    return ::poll(&waiting, 1, withoutLimit) > 0 || errno == EINTR;
}

// How much of a regular file is left, or how much a pipe or a socket holds now; 0 if unknown.
std::size_t waitingBytes(int descriptor) {
    int count = 0;
    return ::ioctl(descriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(std::max(count, 0))
                                                      : 0;
}

} // namespace

bool awaitReady(int descriptor, short event, steady_clock::time_point deadline) {
    if (descriptor < 0) return true; // `poll` would ignore it
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        pollfd waiting{descriptor, event, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::max(left, 0ms).count()));
        if (ready > 0) return true;
        if (ready == 0) errno = ETIMEDOUT;
        if (errno != EINTR) return false;
    }
}

ssize_t readSome(int descriptor, std::span<char> piece) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, piece.data(), piece.size());
    } while (count < 0 && retries(descriptor, POLLIN));
    return count;
}

bool appendToEnd(int descriptor, std::string& content) {
    content.reserve(content.size() + waitingBytes(descriptor));
    std::array<char, pieceSize> piece;
    while (true) {
        const ssize_t count = readSome(descriptor, piece);
        if (count <= 0) return count == 0;
        content.append(piece.data(), static_cast<std::size_t>(count));
    }
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && retries(descriptor, POLLOUT)) continue;
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool writeWithin(std::chrono::milliseconds timeout, int descriptor, std::string_view bytes) {
    const steady_clock::time_point deadline = steady_clock::now() + timeout;
    const NonblockingWriter writer(descriptor);
    while (!bytes.empty()) {
        if (!awaitReady(descriptor, POLLOUT, deadline)) return false;
        const ssize_t count = writer.write(bytes);
        if (count < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace sorvane
