#include "hook/hook_answer.h"

namespace sorvane::hookAnswer {

std::optional<nlohmann::json> continuation(std::string_view agent) {
    if (agent != "cursor") return std::nullopt;
    return std::make_optional<nlohmann::json>({{"continue", true}});
}

nlohmann::json context(std::string_view agent, std::string_view block) {
    if (auto answer = continuation(agent)) return *std::move(answer);
    return {{"hookSpecificOutput",
             {{"hookEventName", "UserPromptSubmit"}, {"additionalContext", block}}}};
}

} // namespace sorvane::hookAnswer
