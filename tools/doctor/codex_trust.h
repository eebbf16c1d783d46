#pragma once

#include <filesystem>

#include <nlohmann/json.hpp>

#include "tools/doctor/hook_entries.h"

namespace sorvane::doctor {

/// What codex notes about a hook, in [hooks.state] of its config.toml under
/// "FILE:user_prompt_submit:GROUP:INDEX". It runs a hook only when the user has trusted it as it
/// stands now: "trusted_hash" is the digest of a normal form of the entry.
enum class CodexTrust {
    trusted,
    changed,   ///< an entry was trusted at this position, but as far as is known another one
    untrusted, ///< never
    disabled,  ///< by the user
};

CodexTrust codexTrust(const nlohmann::json& states, const std::filesystem::path& file,
                      const HookEntry& entry);

} // namespace sorvane::doctor
