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

/// What an agent's event says of the images that are attached to a prompt.
enum class Attachments {
    none,
    files,   ///< where they lie: the hook decodes them
    digests, ///< the digest of each file's bytes
};

/// What an agent makes its user say yes to before it runs a hook.
enum class Trust { none, eachHook, theDirectory, notKnown };

/// A file of an agent's configuration. Its directory is the one that `directoryVariable` names,
/// followed by `variableSuffix`, when that variable is set and not empty; else `directory` in HOME.
struct ConfigurationFile {
    std::string_view directoryVariable; ///< empty: no variable moves it
    std::string_view variableSuffix;
    std::string_view directory;
    std::string_view name;    ///< "*.json": every such file of the directory
    std::string_view sibling; ///< one project's, seen from its root; empty: there is none
};

/// What is known of a coding agent. docs/agents.md shows the same to the people who set one up, and
/// a test holds the one to the other.
struct Agent {
    std::string_view identifier; ///< empty: the agent is registered as "custom-" and a UUID
    std::string_view name;
    std::string_view program;
    std::array<ConfigurationFile, 2> files; ///< those without a name are a project's alone
    std::string_view event;
    EntryForm form;
    std::string_view timeoutKey;
    TimeoutUnit timeoutUnit;
    std::optional<int> defaultTimeout; ///< in that unit; nothing: not known
    Attachments attachments;
    Trust trust;
    /// What must stand after the hook in its command, or nothing: the entry's text up to its end.
    std::string_view commandEnding;
};

/// The seconds that a hook of the agent's may need when the request takes one write and the answer
/// one read: 2 and 2, and 20 before that to decode the pictures of a prompt. Waiting for a
/// connection is not counted.
constexpr int neededSeconds(const Agent& agent) {
    return agent.attachments == Attachments::files ? 24 : 4;
}

inline constexpr int codexDefaultTimeout = 600; ///< seconds

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
        .attachments = Attachments::none,
        .trust = Trust::none,
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
        .defaultTimeout = codexDefaultTimeout,
        .attachments = Attachments::none,
        .trust = Trust::eachHook,
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
        .attachments = Attachments::files,
        .trust = Trust::notKnown,
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
        .attachments = Attachments::none,
        .trust = Trust::theDirectory,
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
        .attachments = Attachments::none,
        .trust = Trust::none,
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
        .attachments = Attachments::none,
        .trust = Trust::none,
        // It takes the inner object of the answer alone.
        .commandEnding = R"(| sed 's/^{"hookSpecificOutput"://; s/}$//')",
    },
    Agent{
        .identifier = "",
        .name = "opencode",
        .program = "opencode",
        .files = {{{"XDG_CONFIG_HOME", "opencode/plugins", ".config/opencode/plugins", "*.js",
                    ".opencode/plugins/*.js"},
                   {}}},
        .event = "chat.message",
        .form = EntryForm::plugin,
        .timeoutKey = "timeout",
        .timeoutUnit = TimeoutUnit::milliseconds,
        .defaultTimeout = 30'000,
        .attachments = Attachments::digests,
        .trust = Trust::none,
        .commandEnding = "",
    },
};

} // namespace sorvane::doctor
