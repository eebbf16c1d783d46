#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "support/date.h"
#include "support/record.h"

namespace sorvane {

/// A tool's request to become an agent's client, and the application's answer to it, in a file of
/// the requests directory. docs/pairing-request.md shows a complete one. What identifies a request
/// and when it expires never changes; `expiresAt` is stored here, not enforced.
struct PairingRequestRecord {
    enum class State { pending, awaitingApproval, approved, denied, consumed };

    friend constexpr std::array<std::string_view, 5> texts(State /*state*/) {
        return {"pending", "awaitingApproval", "approved", "denied", "consumed"};
    }

    const std::string id;
    const std::string agent;
    const Date createdAt;
    const Date expiresAt;
    State state;
    std::optional<std::string> clientID = std::nullopt;   ///< granted with the approval
    std::optional<std::string> credential = std::nullopt; ///< granted with the approval

    static constexpr auto fields() {
        return std::tuple{
            record::field("id", &PairingRequestRecord::id),
            record::field("agent", &PairingRequestRecord::agent),
            record::field("createdAt", &PairingRequestRecord::createdAt),
            record::field("expiresAt", &PairingRequestRecord::expiresAt),
            record::field("state", &PairingRequestRecord::state),
            record::field("clientID", &PairingRequestRecord::clientID),
            record::field("credential", &PairingRequestRecord::credential),
        };
    }

    bool operator==(const PairingRequestRecord&) const = default;
};

} // namespace sorvane
