#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tools/doctor/report.h"

namespace sorvane::doctor {

/// All checks, in the order of an event's road: for the agent that is named, or for every one that
/// has a manifest or a hook entry.
Report examine(const std::optional<std::string>& agent,
               const std::optional<std::filesystem::path>& workspace);

} // namespace sorvane::doctor
