#pragma once

#include <string>

#include "integration/agent_manifest.h"
#include "tools/doctor/agents.h"

namespace sorvane::doctor {

/// The command that an agent's configuration should hold, or the plugin's line with it.
std::string expectedCommand(const Agent& agent, const AgentManifest& manifest);

/// A configuration that holds one entry with that command, as compact JSON.
std::string expectedConfiguration(const Agent& agent, const AgentManifest& manifest);

} // namespace sorvane::doctor
