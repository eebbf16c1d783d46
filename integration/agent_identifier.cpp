#include "integration/agent_identifier.h"

#include "integration/helper_paths.h"
#include "support/uuid.h"

namespace sorvane::AgentIdentifier {

bool isValid(std::string_view identifier) {
    if (identifier == "codex" || identifier == "claude-code" || identifier == "cursor") return true;
    constexpr std::string_view prefix = "custom-";
    return identifier.starts_with(prefix) &&
           Uuid::parse(identifier.substr(prefix.size())).has_value();
}

bool isAccepted(std::string_view identifier) {
    return isValid(identifier) || (isTesting() && identifier == "test");
}

} // namespace sorvane::AgentIdentifier
