// Here the signal is a property of the socket.

#include "support/unix_socket.h"

#include <array>

#include <fcntl.h>

namespace sorvane {

namespace {

// Close-on-exec cannot be set when the socket is made: a child that another thread starts in
// between inherits the socket.
UniqueDescriptor closeOnExec(int descriptor) {
    if (descriptor >= 0) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return UniqueDescriptor(descriptor);
}

// The system's own buffers of 8 KB wake reader and writer some 2,500 times for a file of 20 MB.
constexpr int bufferSize = 256 * 1024;

// On failure the buffers stay as they are, and the file takes longer.
void enlargeBuffers(const UniqueDescriptor& writer, const UniqueDescriptor& reader) {
    ::setsockopt(writer.get(), SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    ::setsockopt(reader.get(), SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
}

} // namespace

UniqueDescriptor makeSocket() { return closeOnExec(::socket(AF_UNIX, SOCK_STREAM, 0)); }

bool suppressSigpipe(const UniqueDescriptor& socket) {
    constexpr int on = 1;
    return ::setsockopt(socket.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) == 0;
}

std::pair<UniqueDescriptor, UniqueDescriptor> makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) return {};
    std::pair pair{closeOnExec(ends[0]), closeOnExec(ends[1])};
    if (!suppressSigpipe(pair.first) || !suppressSigpipe(pair.second)) return {};
    enlargeBuffers(pair.first, pair.second);
    return pair;
}

ssize_t sendWithoutSigpipe(const UniqueDescriptor& socket, std::string_view bytes) {
    return ::send(socket.get(), bytes.data(), bytes.size(), 0);
}

} // namespace sorvane
