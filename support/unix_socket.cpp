#include "support/unix_socket.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace sorvane {

std::optional<SocketAddress> socketAddress(const std::filesystem::path& path) {
    const std::string& text = path.native();
    SocketAddress address{};
    if (text.size() + 1 > sizeof address.record.sun_path) return std::nullopt;
    address.record.sun_family = AF_UNIX;
    std::copy(text.begin(), text.end(), address.record.sun_path);
    // Without the NUL: the system adds it, and sets the record's length field where there is one.
    address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    return address;
}

} // namespace sorvane
