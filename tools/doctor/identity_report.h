#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// One object a file, in order: what `explainFile` says of it, with its "file"; or "error" with the
/// reason why it cannot be read. With many files a line on standard error shows the progress, when
/// that is a terminal. docs/doctor.md names the keys.
nlohmann::json identityReport(const std::vector<std::string>& files);

/// The same as lines of text.
std::string identityReportText(const nlohmann::json& report);

/// Whether every file could be read.
bool isComplete(const nlohmann::json& report);

} // namespace sorvane::doctor
