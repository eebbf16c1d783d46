#include "support/descriptor_io.h"

#include <array>
#include <cerrno>
#include <cstddef>

#include <poll.h>
#include <unistd.h>

namespace sorvane {

namespace {

// A piece is in the processor's nearest cache until it is appended. Reading straight into the
// string would write zeros there first.
constexpr std::size_t pieceSize = 16'384;

constexpr int withoutLimit = -1;

// A reader that stopped reading must not hold up the prompt.
constexpr int writePatienceMilliseconds = 2000;

// After a failed call: whether it is to be made again.
bool retries(int descriptor, short event, int milliseconds) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd waiting{descriptor, event, 0};
    return ::poll(&waiting, 1, milliseconds) > 0 || errno == EINTR;
}

} // namespace

ssize_t readSome(int descriptor, std::span<char> piece) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, piece.data(), piece.size());
    } while (count < 0 && retries(descriptor, POLLIN, withoutLimit));
    return count;
}

bool appendToEnd(int descriptor, std::string& content) {
    std::array<char, pieceSize> piece;
    while (true) {
        const ssize_t count = readSome(descriptor, piece);
        if (count <= 0) return count == 0;
        content.append(piece.data(), static_cast<std::size_t>(count));
    }
}

bool becomesWritable(int descriptor) {
    pollfd waiting{descriptor, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, writePatienceMilliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && retries(descriptor, POLLOUT, writePatienceMilliseconds)) continue;
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace sorvane
