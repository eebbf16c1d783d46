#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/doctor/agents.h"
#include "tools/doctor/hook_call.h"
#include "tools/doctor/hook_entries.h"

namespace sorvane::doctor {

/// An entry that runs the hook, or at least speaks of it.
struct FoundEntry {
    std::filesystem::path file;
    HookEntry entry;
    std::optional<HookCall> call; ///< nothing: how it runs the hook cannot be told

    /// The agent that the command names; empty when it names none.
    std::string namedAgent() const;
};

/// A configuration file that is there and could not be read.
struct UnreadableFile {
    std::filesystem::path file;
    std::string reason;
};

/// All that the files of one agent say of the hook.
struct AgentConfiguration {
    const Agent& agent;
    std::filesystem::path mainFile; ///< where an entry belongs
    std::vector<FoundEntry> entries = {};
    std::vector<UnreadableFile> unreadable = {};
    std::optional<std::filesystem::path> switchedOffIn = {};
    nlohmann::json states = nlohmann::json::object(); ///< codex: of the user's own config.toml
};

/// The directory that agents and shells take for the user's: HOME, or the account's without it.
std::string userHome();

/// Reads the configuration of every agent in the table, of the user and, when one is given, of the
/// project in the directory `workspace`, where the agents themselves look for it. Files that are
/// not there say nothing.
std::vector<AgentConfiguration>
searchConfigurations(const std::optional<std::filesystem::path>& workspace);

} // namespace sorvane::doctor
