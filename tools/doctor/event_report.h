#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// What the hook would do with an event of an agent, without sending anything; docs/doctor.md names
/// the keys. Throws std::runtime_error, whose text is one line, when it has more attachments than
/// can be looked at.
nlohmann::json eventReport(const nlohmann::json& event, const std::string& agent);

/// The same as lines of text.
std::string eventText(const nlohmann::json& report);

} // namespace sorvane::doctor
