#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include "support/unique_descriptor.h"

/// Unix-domain stream sockets that raise no signal when the peer has gone: the send fails instead.
/// Whether the socket or each send has to ask for that differs by system.
namespace sorvane {

/// A new unconnected close-on-exec socket; owns nothing on failure.
UniqueDescriptor makeSocket();

/// Turns the signal off where that is a property of the socket. False on failure.
bool suppressSigpipe(const UniqueDescriptor& socket);

/// Two connected close-on-exec sockets without the signal; both own nothing on failure. On macOS
/// the buffers are enlarged for a file that is written to the first.
std::pair<UniqueDescriptor, UniqueDescriptor> makeSocketPair();

/// One `send` without a signal; returns what the system returns.
ssize_t sendWithoutSigpipe(const UniqueDescriptor& socket, std::string_view bytes);

/// Where a socket file lies, in the form that `connect` and `bind` take.
struct SocketAddress {
    sockaddr_un record;
    socklen_t length;

    const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&record); }
};

/// The address of a path; nothing when the path with its NUL does not fit into the record.
std::optional<SocketAddress> socketAddress(const std::filesystem::path& path);

} // namespace sorvane
