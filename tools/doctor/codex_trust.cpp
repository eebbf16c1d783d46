#include "tools/doctor/codex_trust.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <system_error>

#include "identity/file_identity.h"
#include "support/json.h"
#include "tools/doctor/agents.h"

namespace sorvane::doctor {

namespace {

// The digest that codex notes: of the entry with its defaults filled in, keys in their order.
std::string trustedHash(const HookEntry& entry) {
    const double seconds = std::clamp(entry.timeout.value_or(codexDefaultTimeout), 1.0, 1e15);
    nlohmann::json handler = {{"type", "command"},
                              {"command", entry.command},
                              {"timeout", static_cast<std::int64_t>(std::trunc(seconds))},
                              {"async", entry.inBackground}};
    if (const auto message = textMember(entry.handler, "statusMessage"))
        handler["statusMessage"] = *message;
    const nlohmann::json identity = {{"event_name", "user_prompt_submit"},
                                     {"hooks", nlohmann::json::array({handler})}};
    return "sha256:" + HelperIO::sha256(agentsJSON(identity));
}

const nlohmann::json* stateOf(const nlohmann::json& states, const std::filesystem::path& file,
                              const HookEntry& entry) {
    const std::string suffix =
        ":user_prompt_submit:" + std::to_string(entry.group) + ":" + std::to_string(entry.index);
    if (const auto* state = anyMember(states, file.native() + suffix)) return state;
    // codex resolves the links of a directory that a variable names.
    std::error_code ignored;
    const auto resolved = std::filesystem::weakly_canonical(file, ignored);
    return anyMember(states, resolved.native() + suffix);
}

} // namespace

CodexTrust codexTrust(const nlohmann::json& states, const std::filesystem::path& file,
                      const HookEntry& entry) {
    const nlohmann::json* state = stateOf(states, file, entry);
    if (state == nullptr) return CodexTrust::untrusted;
    const nlohmann::json* enabled = anyMember(*state, "enabled");
    if (enabled != nullptr && *enabled == false) return CodexTrust::disabled;
    const auto hash = textMember(*state, "trusted_hash");
    if (!hash) return CodexTrust::untrusted;
    return *hash == trustedHash(entry) ? CodexTrust::trusted : CodexTrust::changed;
}

} // namespace sorvane::doctor
