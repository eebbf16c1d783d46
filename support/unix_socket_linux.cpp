// Here each send asks for no signal, not the socket.

#include "support/unix_socket.h"

#include <array>

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

} // namespace sorvane
