#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <sys/types.h>

#include <nlohmann/json.hpp>

#include "integration/helper_paths.h"
#include "support/secret_text.h"

namespace sorvane {

/// The client, as it names itself in every request.
struct BrokerIdentity {
    const std::string agent;
    const std::string clientID;
    const SecretText credential;
};

/// The request as it goes over the link: the envelope with the fields of an operation. A field
/// named like a member of the envelope replaces it.
nlohmann::json brokerRequest(const BrokerIdentity& identity, std::string_view operation,
                             const std::string& requestID, nlohmann::json fields);

/// Asks the running application over the Tandem Link: one connection, one JSON line there, one back
/// (docs/tandem-link.md). Blocks the calling thread: each write and each read, and on Linux
/// connecting, waits at most 2 seconds; a socket on which no timeout can be set is used without
/// one. Nothing is retried.
class BrokerClient {
  public:
    explicit BrokerClient(BrokerIdentity identity,
                          std::filesystem::path socketURL = HelperPaths().socket);

    /// Sends an operation with its fields, an object (see `brokerRequest`), and returns the whole
    /// answer object when the application agrees.
    /// Throws HelperFailure::unavailable when the application cannot be reached, answers badly or
    /// refuses; for fields without a JSON form what `appendJSON` throws, for an answer that is not
    /// JSON what `parseJSON` throws, and std::system_error when the system gives no random bytes
    /// for the request's ID.
    nlohmann::json call(std::string_view operation,
                        nlohmann::json fields = nlohmann::json::object()) const;

    /// The permissions with which the application makes its socket file. Wider ones are not its
    /// work.
    static constexpr mode_t socketPermissions = 0600;

    /// Whether the application's socket can be used now: a socket file that belongs to this user,
    /// with exactly those permissions, to which one `connect` succeeds. Nothing is sent
    /// or read. Every failure is false. There is no timeout: `connect` blocks on some systems
    /// while the listener's queue is full. A caller that needs a timeout sets one around the
    /// call.
    static bool
    isLocalBrokerReachable(const std::filesystem::path& at = HelperPaths().socket) noexcept;

  private:
    std::string exchange(std::string_view request) const;

    BrokerIdentity identity_;
    std::filesystem::path socketURL_;
};

} // namespace sorvane
