#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/date.h"
#include "support/record.h"

namespace sorvane {

/// What the application installed into one coding agent, in "<agent>.json" of the agents directory.
/// The application writes it; the helper reads it to check a credential. docs/agent-manifest.md
/// shows a complete one.
struct AgentManifest {
    const std::string agent;
    const Date installedAt;
    const std::string clientID;
    const std::string credentialHash; ///< digest text of the credential file's bytes
    const std::string credentialPath; ///< absolute
    const std::string mcpServerName;
    const std::string mcpExecutablePath;
    const std::string hookExecutablePath;
    const std::vector<std::string> managedEntries;
    const std::vector<std::string> backupPaths;
    const std::optional<std::string> registrationID;

    static constexpr auto fields() {
        return std::tuple{
            record::field("agent", &AgentManifest::agent),
            record::field("installedAt", &AgentManifest::installedAt),
            record::field("clientID", &AgentManifest::clientID),
            record::field("credentialHash", &AgentManifest::credentialHash),
            record::field("credentialPath", &AgentManifest::credentialPath),
            record::field("mcpServerName", &AgentManifest::mcpServerName),
            record::field("mcpExecutablePath", &AgentManifest::mcpExecutablePath),
            record::field("hookExecutablePath", &AgentManifest::hookExecutablePath),
            record::field("managedEntries", &AgentManifest::managedEntries),
            record::field("backupPaths", &AgentManifest::backupPaths),
            record::field("registrationID", &AgentManifest::registrationID),
        };
    }

    bool operator==(const AgentManifest&) const = default;
};

} // namespace sorvane
