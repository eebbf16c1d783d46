// Here the signal is a matter of each send, not of the socket.

#include "support/unix_socket.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace sorvane {

UniqueDescriptor makeSocket() {
    return UniqueDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool suppressSigpipe(const UniqueDescriptor& /*socket*/) { return true; }

std::pair<UniqueDescriptor, UniqueDescriptor> makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return {};
    return {UniqueDescriptor(ends[0]), UniqueDescriptor(ends[1])};
}

ssize_t sendWithoutSigpipe(const UniqueDescriptor& socket, std::string_view bytes) {
    return ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::optional<SocketAddress> socketAddress(const std::filesystem::path& path) {
    const std::string& text = path.native();
    SocketAddress address{};
    if (text.size() + 1 > sizeof address.record.sun_path) return std::nullopt;
    address.record.sun_family = AF_UNIX;
    std::copy(text.begin(), text.end(), address.record.sun_path);
    address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size() + 1);
    return address;
}

} // namespace sorvane
