#include "hook/hook_answer.h"

namespace sorvane::hookAnswer {

std::optional<nlohmann::json> goOn(std::string_view agent) {
    if (agent != "cursor") return std::nullopt;
    return std::make_optional<nlohmann::json>({{"continue", true}});
}

nlohmann::json context(std::string_view agent, std::string_view block) {
    if (auto word = goOn(agent)) return *std::move(word);
    return {{"hookSpecificOutput",
             {{"hookEventName", "UserPromptSubmit"}, {"additionalContext", block}}}};
}

} // namespace sorvane::hookAnswer
