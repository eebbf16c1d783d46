#include "broker/mcp_client_session.h"

#include <csignal>

#include <unistd.h>

#include "broker/session_notification.h"
#include "integration/helper_paths.h"
#include "support/absolute_path.h"
#include "support/environment.h"
#include "support/executable_path.h"
#include "support/helper_io.h"
#include "support/resolved_path.h"
#include "support/utf8.h"

namespace sorvane {

namespace {

// A path as it is recorded and compared.
std::string resolved(const std::filesystem::path& path) {
    return utf8::repaired(resolvedPath(path).native());
}

void writeSession(const BrokerIdentity& identity, std::string_view clientName) noexcept try {
    // The path under which the process was started, not the one that the kernel reports.
    const MCPClientSession session{identity.clientID, ::getpid(), resolved(absolutePath(argv0())),
                                   std::string(clientName), ReferenceClock::now()};
    HelperIO::writeJSON(session, MCPClientSession::url(identity.agent));
} catch (...) {
    // The notification is posted all the same.
}

} // namespace

std::filesystem::path MCPClientSession::url(std::string_view agent) {
    return HelperPaths().agentFile(agent, "-mcp-session.json");
}

void MCPClientSession::record(const BrokerIdentity& identity,
                              std::string_view clientName) noexcept {
    if (environmentFlag("SORVANE_DIAGNOSTIC")) return;
    writeSession(identity, clientName);
    postSessionChanged(identity.agent);
}

bool MCPClientSession::isRunning() const noexcept try {
    if (processID <= 0 || ::kill(processID, 0) != 0) return false;
    const auto path = sorvane::executablePath(processID);
    if (!path) return false;
    return resolved(*path) == executablePath;
} catch (...) {
    return false;
}

} // namespace sorvane
