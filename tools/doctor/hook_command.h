#pragma once

#include <string>

#include "integration/agent_manifest.h"
#include "tools/doctor/configuration_search.h"
#include "tools/doctor/finding.h"

namespace sorvane::doctor {

/// The command that an agent's configuration should hold, or the plugin's line with it.
std::string expectedCommand(const Agent& agent, const AgentManifest& manifest);

/// A configuration that holds one entry with that command, as compact JSON.
std::string expectedConfiguration(const Agent& agent, const AgentManifest& manifest);

/// Whether an entry's command runs the hook as the manifest wants it, once the shell has split it.
Finding checkCommand(const Agent& agent, const AgentManifest& manifest, const FoundEntry& found);

} // namespace sorvane::doctor
