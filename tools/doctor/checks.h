#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "integration/agent_manifest.h"
#include "integration/helper_paths.h"
#include "tools/doctor/configuration_search.h"
#include "tools/doctor/finding.h"

/// The checks of all that an event passes on its way. They read, and change nothing; only the probe
/// of the socket connects to anything. A check that cannot look is a finding, never an exception.
namespace sorvane::doctor {

/// An agent as its messages name it: "Codex", or "custom-..." as it stands.
std::string displayName(std::string_view agent);

/// What to do when the application's files about an agent are not as the application leaves them.
std::string reinstall(std::string_view agent);

// The application ------------------------------------------------------------

Finding checkRoot(const HelperPaths& paths);
Finding checkSocket(const HelperPaths& paths);

/// One finding a program: found, runnable, and a tiny picture of each of its formats decoded.
std::vector<Finding> checkDecoders();

// One agent ------------------------------------------------------------------

/// The manifest, when it can be read, and what is to be said of it.
struct ManifestCheck {
    std::optional<AgentManifest> manifest;
    std::vector<Finding> findings;
};
ManifestCheck checkManifest(const HelperPaths& paths, const std::string& agent);

/// The credential file; `secret` is its content, for nobody's eyes.
struct CredentialCheck {
    Finding finding;
    std::string secret;
};
CredentialCheck checkCredential(const AgentManifest& manifest);

/// The entries in the agent's own configuration.
std::vector<Finding> checkConfiguration(const std::string& agent,
                                        const std::optional<AgentManifest>& manifest,
                                        const std::vector<AgentConfiguration>& configurations);

Finding checkObservation(const std::string& agent, const std::optional<AgentManifest>& manifest);
Finding checkSession(const std::string& agent, const std::optional<AgentManifest>& manifest);

} // namespace sorvane::doctor
