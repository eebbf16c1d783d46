#include "broker/broker_client.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/helper_failure.h"
#include "support/json.h"
#include "support/unique_descriptor.h"
#include "support/unix_socket.h"
#include "support/uuid.h"

namespace sorvane {

namespace {

// The application answers from memory. A prompt waits no longer than this for one read or write.
constexpr timeval timeout{2, 0};

constexpr std::size_t pieceSize = 4096;

// An answer names a handful of files; this is room for thousands of them.
constexpr std::size_t maxAnswer = 1'048'576;

bool answers(const nlohmann::json& answer, std::string_view requestID) {
    return integerMember(answer, "version") == 1 && textMember(answer, "requestID") == requestID;
}

// The application's own JSON writer may give a flag as the number 1.
bool isAgreed(const nlohmann::json& answer) {
    const nlohmann::json* ok = anyMember(answer, "ok");
    return ok != nullptr && (*ok == true || integerValue(*ok) == 1);
}

UniqueDescriptor connectedSocket(const std::filesystem::path& path) {
    UniqueDescriptor socket = makeSocket();
    if (!socket) throw HelperFailure::unavailable("Tandem Link transport is unavailable.");
    if (!suppressSigpipe(socket))
        throw HelperFailure::unavailable("Tandem Link transport could not be configured.");
    // Best effort: a socket without timeouts is better than none.
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    const auto address = socketAddress(path);
    if (!address) throw HelperFailure::unavailable("Tandem Link socket path is too long.");
    if (::connect(socket.get(), address->generic(), address->length) != 0)
        throw HelperFailure::unavailable("Sorvane is not running or Tandem Link is unavailable.");
    return socket;
}

void sendAll(const UniqueDescriptor& socket, std::string_view request) {
    while (!request.empty()) {
        const ssize_t count = sendWithoutSigpipe(socket, request);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw HelperFailure::unavailable("Tandem Link request failed.");
        request.remove_prefix(static_cast<std::size_t>(count));
    }
}

// The answer ends at a line feed that is the last byte received, at the end of the stream, at an
// error or at a timeout, whichever comes first.
std::string receiveAnswer(const UniqueDescriptor& socket) {
    std::string answer;
    std::array<char, pieceSize> piece;
    while (answer.size() <= maxAnswer) {
        const ssize_t count = ::read(socket.get(), piece.data(), piece.size());
        if (count <= 0) break;
        answer.append(piece.data(), static_cast<std::size_t>(count));
        if (answer.back() == '\n') break;
    }
    if (answer.empty() || answer.size() > maxAnswer)
        throw HelperFailure::unavailable("Tandem Link did not respond.");
    return answer;
}

SecretText requestLine(const BrokerIdentity& identity, std::string_view operation,
                       const std::string& requestID, nlohmann::json fields) {
    nlohmann::json request = brokerRequest(identity, operation, requestID, std::move(fields));
    SecretText line;
    // Most requests fit: a line that grows leaves a copy of the credential in freed memory.
    line.reserve(pieceSize);
    appendJSON(line, request);
    line += '\n';
    if (auto* credential = request["credential"].get_ptr<std::string*>())
        const SecretText cleared = std::move(*credential);
    return line;
}

} // namespace

nlohmann::json brokerRequest(const BrokerIdentity& identity, std::string_view operation,
                             const std::string& requestID, nlohmann::json fields) {
    nlohmann::json request = {{"version", 1},
                              {"requestID", requestID},
                              {"operation", operation},
                              {"agent", identity.agent},
                              {"clientID", identity.clientID},
                              {"credential", identity.credential}};
    for (const auto& [key, value] : fields.items()) request[key] = std::move(value);
    return request;
}

BrokerClient::BrokerClient(BrokerIdentity identity, std::filesystem::path socketURL)
    : identity_(std::move(identity)), socketURL_(std::move(socketURL)) {}

nlohmann::json BrokerClient::call(std::string_view operation, nlohmann::json fields) const {
    const std::string requestID = Uuid::random().lowerText();
    nlohmann::json answer =
        parseJSON(exchange(requestLine(identity_, operation, requestID, std::move(fields))));
    if (!answers(answer, requestID))
        throw HelperFailure::unavailable("Sorvane returned an invalid broker response.");
    if (!isAgreed(answer))
        throw HelperFailure::unavailable(
            std::string(textMember(answer, "error").value_or("Sorvane denied the request.")));
    return answer;
}

bool BrokerClient::isLocalBrokerReachable(const std::filesystem::path& at) noexcept {
    struct stat status {};
    if (::lstat(at.c_str(), &status) != 0) return false;
    if (!S_ISSOCK(status.st_mode) || status.st_uid != ::geteuid()) return false;
    if ((status.st_mode & 0777) != socketPermissions) return false;
    const UniqueDescriptor socket = makeSocket();
    if (!socket) return false;
    const auto address = socketAddress(at);
    return address && ::connect(socket.get(), address->generic(), address->length) == 0;
}

std::string BrokerClient::exchange(std::string_view request) const {
    const UniqueDescriptor socket = connectedSocket(socketURL_);
    sendAll(socket, request);
    return receiveAnswer(socket);
}

} // namespace sorvane
