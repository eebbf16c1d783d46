#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "broker/mcp_client_session.h"
#include "support/helper_io.h"
#include "support/resolved_path.h"
#include "tests/scoped_environment.h"
#include "tests/started_process.h"
#include "tests/temporary_directory.h"

namespace sorvane::test {

/// An application-support root of a test's own, and no session bus.
class SessionStage {
  public:
    /// The program of session_recorder.cpp.
    static std::filesystem::path recorder() { return resolvedPath(SORVANE_SESSION_RECORDER); }

    static void record(const std::string& agent) {
        MCPClientSession::record({agent, "client-1", "secret"}, "an agent's tools");
    }

    MCPClientSession session(const std::string& agent) const {
        return HelperIO::readJSON<MCPClientSession>(file(agent));
    }

    std::filesystem::path file(const std::string& agent) const {
        return agents() / (agent + "-mcp-session.json");
    }

    std::filesystem::path agents() const { return root() / "Integrations/Agents"; }
    std::filesystem::path root() const { return directory_.path() / "root"; }
    const std::filesystem::path& directory() const { return directory_.path(); }

    /// A file where the folders should be: nothing can be written below it, whoever tries.
    void blockAgents() const { putFile(root() / "Integrations", ""); }

  private:
    TemporaryDirectory directory_;
    ScopedEnvironment testing_{"SORVANE_TESTING", "1"};
    ScopedEnvironment support_{"SORVANE_APP_SUPPORT", root().native()};
    ScopedEnvironment diagnostic_{"SORVANE_DIAGNOSTIC", std::nullopt};
    ScopedEnvironment busAddress_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment busDirectory_{"XDG_RUNTIME_DIR", std::nullopt};
};

} // namespace sorvane::test
