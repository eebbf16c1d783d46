#include "tools/doctor/hook_entries.h"

#include <stdexcept>
#include <string>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

const Agent& row(std::string_view name) {
    for (const Agent& agent : agents)
        if (agent.name == name) return agent;
    throw std::invalid_argument(std::string(name));
}

// "EVENT/GROUP/INDEX COMMAND TIMEOUT" a line.
std::string entries(std::string_view agent, const char* file, std::string_view text) {
    std::string result;
    for (const HookEntry& entry : readHookConfiguration(row(agent), file, text).entries)
        result += entry.event + "/" + std::to_string(entry.group) + "/" +
                  std::to_string(entry.index) + " " + entry.command +
                  (entry.timeout ? " " + std::to_string(static_cast<int>(*entry.timeout)) : "") +
                  "\n";
    return result;
}

} // namespace

TEST_CASE("the grouped form is read with its groups, indices and timeouts") {
    CHECK(entries("Claude Code", "settings.json", R"({
        "permissions": {"allow": ["Bash"]},
        "hooks": {
            "PreToolUse": [{"matcher": "Bash", "hooks": [{"type": "command", "command": "a"}]}],
            "UserPromptSubmit": [
                {"hooks": [{"type": "prompt", "prompt": "x"},
                           {"type": "command", "command": "b", "timeout": 30}]},
                {"hooks": [{"type": "command", "command": "c"}]}
            ]
        }})") == "PreToolUse/0/0 a\nUserPromptSubmit/0/1 b 30\nUserPromptSubmit/1/0 c\n");
}

TEST_CASE("the flat form is read, with the names that its agents have for command and timeout") {
    CHECK(entries("Cursor", "hooks.json",
                  R"({"version": 1, "hooks": {"beforeSubmitPrompt": [{"command": "a"}]}})") ==
          "beforeSubmitPrompt/0/0 a\n");
    CHECK(entries("Copilot CLI", "x.json",
                  R"({"version": 1, "hooks": {"UserPromptSubmit": [
                      {"type": "command", "bash": "a", "command": "b", "timeoutSec": 5,
                       "timeout": 6}]}})") == "UserPromptSubmit/0/0 a 5\n");
}

TEST_CASE("TOML is read like JSON, and with it what codex notes about its hooks") {
    const auto read = readHookConfiguration(row("Codex"), "config.toml", R"(
model = "o"
[[hooks.UserPromptSubmit]]
[[hooks.UserPromptSubmit.hooks]]
type = "command"
command = "a b"
timeout = 30
[hooks.state."/x/config.toml:user_prompt_submit:0:0"]
trusted_hash = "sha256:0"
)");
    REQUIRE(read.entries.size() == 1);
    CHECK(read.entries.front().command == "a b");
    CHECK(read.entries.front().timeout == 30);
    CHECK_FALSE(read.switchedOff);
    CHECK(read.states.at("/x/config.toml:user_prompt_submit:0:0").at("trusted_hash") == "sha256:0");
}

TEST_CASE("what is no command is ignored, and so is the form of other events") {
    for (const char* text :
         {R"({})", R"({"hooks": {}})", R"({"hooks": {"Stop": {}, "PreToolUse": [{"hooks": 1}]}})",
          R"({"hooks": {"UserPromptSubmit": [1, "a", null, {}], "beforeSubmitPrompt": [1, {}]}})",
          R"({"hooks": {"UserPromptSubmit": [{"hooks": [1, {"command": 2}, {"type": 3}]}]}})"}) {
        CAPTURE(text);
        CHECK(entries("Claude Code", "settings.json", text).empty());
        CHECK(entries("Cursor", "hooks.json", text).empty());
    }
}

TEST_CASE("hooks in no form of the agent's are not known, which is not the same as none") {
    for (const char* text : {R"([])", R"({"hooks": []})", R"({"hooks": {"UserPromptSubmit": {}}})",
                             R"({"hooks": {"UserPromptSubmit": "sorvane-hook"}})",
                             R"({"hooks": {"UserPromptSubmit": [{"hooks": 1}]}})"}) {
        CAPTURE(text);
        CHECK_THROWS_AS(entries("Claude Code", "settings.json", text), std::runtime_error);
    }
    CHECK_THROWS_AS(entries("Codex", "config.toml", "hooks = 1"), std::runtime_error);
}

TEST_CASE("the command of a plugin is read from its line, as words") {
    const auto read = [](const std::string& text) {
        return entries("opencode", "sorvane.js", text);
    };
    CHECK(read("import x\nconst command = [\"/a b/sorvane-hook\", \"--agent\", \"it's\"];\r\n") ==
          "chat.message/0/0 '/a b/sorvane-hook' '--agent' 'it'\\''s'\n");
    CHECK(read("const command = [\"ls\"]\n").empty());
    CHECK(read("").empty());
    for (const char* text :
         {"// sorvane-hook", "  const command = [\"sorvane-hook\"]", "const command = sorvane-hook",
          "const command =\n[\"sorvane-hook\"]"}) {
        CAPTURE(text);
        CHECK_THROWS_AS(read(text), std::runtime_error);
    }
}

TEST_CASE("what cannot be read is told with its line") {
    try {
        entries("Claude Code", "settings.json", "{\n  \"hooks\": {},\n}\n");
        FAIL("it was read");
    } catch (const std::runtime_error& error) {
        CHECK(std::string(error.what()).find("in line 3 at byte 1") != std::string::npos);
    }
}

TEST_CASE("all hooks may be switched off") {
    CHECK(readHookConfiguration(row("Claude Code"), "s.json", R"({"disableAllHooks": true})")
              .switchedOff);
    CHECK(readHookConfiguration(row("Codex"), "c.toml", "[features]\nhooks = false").switchedOff);
    CHECK_FALSE(
        readHookConfiguration(row("Codex"), "c.toml", "[features]\nhooks = true").switchedOff);
}

TEST_CASE("a text that is no such document is rejected with one line") {
    for (const auto& [file, text] : {std::pair{"s.json", "{\n\n  // a\n}"},
                                     {"s.json", ""},
                                     {"c.toml", "a =\n\n"},
                                     {"c.toml", "[a\n"}}) {
        const std::string shown = text;
        CAPTURE(shown);
        try {
            readHookConfiguration(row("Codex"), file, text);
            FAIL("it was read");
        } catch (const std::runtime_error& error) {
            CHECK(std::string(error.what()).find('\n') == std::string::npos);
            CHECK_FALSE(std::string(error.what()).empty());
        }
    }
}
