#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tools/doctor/report.h"

namespace sorvane::doctor {

/// All checks: of the application; of the agent that is named, or of every one that has a manifest
/// or a hook entry; of the decoders.
Report examine(const std::optional<std::string>& agent,
               const std::optional<std::filesystem::path>& workspace);

} // namespace sorvane::doctor
