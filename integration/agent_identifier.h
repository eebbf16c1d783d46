#pragma once

#include <string_view>

namespace sorvane::AgentIdentifier {

/// Whether a text names a coding agent: "codex", "claude-code", "cursor", or "custom-" followed by
/// a UUID in either case, and nothing more. A valid identifier is safe in a file name.
bool isValid(std::string_view identifier);

/// Whether a text names an agent here: a valid identifier, or "test" in testing mode.
bool isAccepted(std::string_view identifier);

} // namespace sorvane::AgentIdentifier
