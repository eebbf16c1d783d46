#pragma once

#include "integration/agent_manifest.h"
#include "tools/doctor/configuration_search.h"
#include "tools/doctor/finding.h"

namespace sorvane::doctor {

/// Whether an entry's command runs the hook as the manifest wants it, once the shell has split it.
Finding checkCommand(const Agent& agent, const AgentManifest& manifest, const FoundEntry& found);

} // namespace sorvane::doctor
