#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <tuple>

#include "broker/broker_client.h"
#include "support/date.h"
#include "support/record.h"

namespace sorvane {

/// The MCP server process that an agent started for a paired client, in
/// "<agent>-mcp-session.json" of the agents directory; a new one replaces the old.
/// docs/mcp-session.md shows a complete one.
struct MCPClientSession {
    const std::string clientID;
    const std::int32_t processID;
    const std::string executablePath; ///< absolute, symbolic links resolved
    const std::string clientName;     ///< as the agent announced itself
    const Date initializedAt;

    static constexpr auto fields() {
        return std::tuple{
            record::field("clientID", &MCPClientSession::clientID),
            record::field("processID", &MCPClientSession::processID),
            record::field("executablePath", &MCPClientSession::executablePath),
            record::field("clientName", &MCPClientSession::clientName),
            record::field("initializedAt", &MCPClientSession::initializedAt),
        };
    }

    bool operator==(const MCPClientSession&) const = default;

    /// Where an agent's session lies. The identifier must have been validated.
    static std::filesystem::path url(std::string_view agent);

    /// Writes the session of this process, then posts "com.sorvane.client-session-changed" so that
    /// the application rereads it; the notification goes out even when the file could not be
    /// written. With SORVANE_DIAGNOSTIC set to exactly "1" it does neither. Failures are
    /// swallowed: the server runs without its session file too.
    static void record(const BrokerIdentity& identity, std::string_view clientName) noexcept;

    /// Whether the process lives and still runs the recorded program. An id that belongs to
    /// another program by now, or to a process that this user may not signal, is not running.
    bool isRunning() const noexcept;
};

} // namespace sorvane
