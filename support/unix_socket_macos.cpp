// Here the signal is a property of the socket.

#include "support/unix_socket.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include <fcntl.h>

namespace sorvane {

namespace {

// No socket is made with this mark on it: a child started in between would have the descriptor,
// but nothing here starts one.
UniqueDescriptor closedInChildren(int descriptor) {
    if (descriptor >= 0) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return UniqueDescriptor(descriptor);
}

} // namespace

UniqueDescriptor makeSocket() { return closedInChildren(::socket(AF_UNIX, SOCK_STREAM, 0)); }

bool suppressSigpipe(const UniqueDescriptor& socket) {
    constexpr int on = 1;
    return ::setsockopt(socket.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) == 0;
}

std::pair<UniqueDescriptor, UniqueDescriptor> makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) return {};
    std::pair pair{closedInChildren(ends[0]), closedInChildren(ends[1])};
    if (!suppressSigpipe(pair.first) || !suppressSigpipe(pair.second)) return {};
    return pair;
}

ssize_t sendWithoutSigpipe(const UniqueDescriptor& socket, std::string_view bytes) {
    return ::send(socket.get(), bytes.data(), bytes.size(), 0);
}

std::optional<SocketAddress> socketAddress(const std::filesystem::path& path) {
    const std::string& text = path.native();
    SocketAddress address{};
    if (text.size() + 1 > sizeof address.record.sun_path) return std::nullopt;
    address.record.sun_family = AF_UNIX;
    std::copy(text.begin(), text.end(), address.record.sun_path);
    // What stands before the path, and the path without its NUL, which the system adds. The
    // record's own length field is the system's to fill.
    address.length = static_cast<socklen_t>(text.size() + 2);
    return address;
}

} // namespace sorvane
