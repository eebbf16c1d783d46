#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/doctor/agents.h"

namespace sorvane::doctor {

/// How the line of our plugin begins that holds the command, a list of words.
inline constexpr std::string_view pluginLine = "const command =";

/// A value as agents write JSON into their files: compact, forward slashes as they are; what is not
/// UTF-8 is replaced.
std::string agentsJSON(const nlohmann::json& value);

/// One command that an agent's configuration runs at an event.
struct HookEntry {
    std::string event;
    std::size_t group; ///< of the event's list; always 0 in a flat form
    std::size_t index; ///< within its group
    std::string command;
    std::optional<double> timeout; ///< as it is written
    bool inBackground;             ///< the agent does not wait for its answer
    nlohmann::json handler;        ///< the object as it stands
};

/// What one configuration file says about hooks.
struct HookConfiguration {
    std::vector<HookEntry> entries;
    bool switchedOff = false;                         ///< no hook runs at all
    nlohmann::json states = nlohmann::json::object(); ///< codex: what it noted per hook
};

/// Reads the text of a configuration file: a plugin of ours for an agent that takes one, else TOML
/// when its name says so, else JSON. What is no command is ignored. Throws std::runtime_error,
/// whose text is one line, when the text is no such document, or its hooks are not in the agent's
/// form.
HookConfiguration readHookConfiguration(const Agent& agent, const std::filesystem::path& file,
                                        std::string_view text);

} // namespace sorvane::doctor
