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
    // Without the NUL, which the system adds. A length field in the record is the system's to fill.
    address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    return address;
}

} // namespace sorvane
