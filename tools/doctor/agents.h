#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace sorvane::doctor {

/// How an agent writes its hooks down.
enum class EntryForm {
    /// {"hooks": {EVENT: [{"hooks": [{"type": "command", "command": TEXT, "timeout": NUMBER}]}]}}
    grouped,
    /// {"version": 1, "hooks": {EVENT: [{"command": TEXT, "timeout": NUMBER}]}}
    flat,
    /// The agent runs no commands: a plugin of ours calls the hook.
    plugin,
};

/// In what an agent counts the time that it gives a hook.
enum class TimeoutUnit {
    seconds,
    milliseconds,
    /// Seconds, but a number from 1000 on is one of milliseconds.
    secondsBelowThousand,
};

/// A file of an agent's configuration. Its folder is the one that `folderVariable` names, followed
/// by `variableSuffix`, when that variable is set and not empty; else `folder` in HOME.
struct ConfigurationFile {
    std::string_view folderVariable; ///< empty: no variable moves it
    std::string_view variableSuffix;
    std::string_view folder;
    std::string_view name; ///< "*.json": every such file of the folder
    std::string_view
        sibling; ///< the same for one project, seen from its root; empty: there is none
};

/// What is known of a coding agent. docs/agents.md shows the same to the people who set one up.
struct Agent {
    std::string_view identifier; ///< empty: the agent is registered as "custom-" and a UUID
    std::string_view name;
    std::string_view program;
    std::array<ConfigurationFile, 2> files; ///< those without a name are none
    std::string_view event;
    EntryForm form;
    std::string_view timeoutKey;
    TimeoutUnit timeoutUnit;
    std::optional<int> defaultTimeout; ///< in that unit; nothing: not known
    bool sendsAttachments;
    bool mustBeTrusted; ///< the hook is not run before the user has said yes to it
    /// What must stand after the hook in its command, or nothing: the entry's text up to its end.
    std::string_view commandEnding;
};

inline constexpr std::array agents = {
    Agent{
        .identifier = "claude-code",
        .name = "Claude Code",
        .program = "claude",
        .files = {{{"CLAUDE_CONFIG_DIR", "", ".claude", "settings.json", ".claude/settings.json"},
                   {"", "", "", "", ".claude/settings.local.json"}}},
        .event = "UserPromptSubmit",
        .form = EntryForm::grouped,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::seconds,
        .defaultTimeout = 30,
        .sendsAttachments = false,
        .mustBeTrusted = false,
        .commandEnding = "",
    },
    Agent{
        .identifier = "codex",
        .name = "Codex",
        .program = "codex",
        .files = {{{"CODEX_HOME", "", ".codex", "hooks.json", ".codex/hooks.json"},
                   {"CODEX_HOME", "", ".codex", "config.toml", ".codex/config.toml"}}},
        .event = "UserPromptSubmit",
        .form = EntryForm::grouped,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::seconds,
        .defaultTimeout = 600,
        .sendsAttachments = false,
        .mustBeTrusted = true,
        .commandEnding = "",
    },
    Agent{
        .identifier = "cursor",
        .name = "Cursor",
        .program = "cursor",
        .files = {{{"", "", ".cursor", "hooks.json", ".cursor/hooks.json"}, {}}},
        .event = "beforeSubmitPrompt",
        .form = EntryForm::flat,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::seconds,
        .defaultTimeout = std::nullopt,
        .sendsAttachments = true,
        .mustBeTrusted = false,
        .commandEnding = "",
    },
    Agent{
        .identifier = "",
        .name = "Gemini CLI",
        .program = "gemini",
        .files = {{{"GEMINI_CLI_HOME", ".gemini", ".gemini", "settings.json",
                    ".gemini/settings.json"},
                   {}}},
        .event = "BeforeAgent",
        .form = EntryForm::grouped,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::milliseconds,
        .defaultTimeout = 60'000,
        .sendsAttachments = false,
        .mustBeTrusted = false,
        // A hook that cannot be started blocks every prompt there.
        .commandEnding = "|| true",
    },
    Agent{
        .identifier = "",
        .name = "Qwen Code",
        .program = "qwen",
        .files = {{{"QWEN_HOME", "", ".qwen", "settings.json", ".qwen/settings.json"}, {}}},
        .event = "UserPromptSubmit",
        .form = EntryForm::grouped,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::secondsBelowThousand,
        .defaultTimeout = 60,
        .sendsAttachments = false,
        .mustBeTrusted = false,
        .commandEnding = "",
    },
    Agent{
        .identifier = "",
        .name = "Copilot CLI",
        .program = "copilot",
        .files = {{{"COPILOT_HOME", "hooks", ".copilot/hooks", "*.json", ".github/hooks/*.json"},
                   {}}},
        .event = "UserPromptSubmit",
        .form = EntryForm::flat,
        .timeoutKey = "timeoutSec",
        .timeoutUnit = TimeoutUnit::seconds,
        .defaultTimeout = 30,
        .sendsAttachments = false,
        .mustBeTrusted = false,
        // It takes the inner object of the answer alone.
        .commandEnding = R"(| sed 's/^{"hookSpecificOutput"://; s/}$//')",
    },
    Agent{
        .identifier = "",
        .name = "opencode",
        .program = "opencode",
        .files = {},
        .event = "chat.message",
        .form = EntryForm::plugin,
        .timeoutKey = "",
        .timeoutUnit = TimeoutUnit::seconds,
        .defaultTimeout = std::nullopt,
        .sendsAttachments = false,
        .mustBeTrusted = false,
        .commandEnding = "",
    },
};

} // namespace sorvane::doctor
