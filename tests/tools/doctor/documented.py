"""Configurations of coding agents as people have them who followed the agents' documentation: settings of every kind,
and hooks of their own. The hook is entered into them beside what is there."""

import json

CLAUDE_CODE = {
    "$schema": "https://json.schemastore.org/claude-code-settings.json",
    "model": "opus",
    "permissions": {"allow": ["Bash(npm run lint)", "Bash(npm run test:*)", "Read(~/.zshrc)"],
                    "deny": ["Bash(curl:*)", "Read(./.env)", "Read(./secrets/**)"]},
    "env": {"CLAUDE_CODE_ENABLE_TELEMETRY": "1"},
    "statusLine": {"type": "command", "command": "~/.claude/statusline.sh"},
    "hooks": {
        "PreToolUse": [{"matcher": "Bash", "hooks": [
            {"type": "command", "command": "\"$CLAUDE_PROJECT_DIR\"/.claude/hooks/check-style.sh", "timeout": 5}]}],
        "PostToolUse": [{"matcher": "Edit|Write", "hooks": [
            {"type": "command", "command": "jq -r '.tool_input.file_path' | xargs npx prettier --write"}]}],
        "UserPromptSubmit": [{"hooks": [
            {"type": "command", "command": "date '+Today is %A, %F.'"},
            {"type": "prompt", "prompt": "Does this prompt hold a password? $ARGUMENTS", "timeout": 30}]}],
        "Stop": [{"matcher": "", "hooks": [{"type": "command", "command": "say done", "async": True}]}],
    },
}

CODEX = {
    "hooks": {
        "SessionStart": [{"matcher": "startup|resume", "hooks": [
            {"type": "command", "command": "python3 ~/.codex/hooks/notes.py", "statusMessage": "Loading notes"}]}],
        "PreToolUse": [{"matcher": "^Bash$", "hooks": [
            {"type": "command", "command": "\"$(git rev-parse --show-toplevel)/.codex/hooks/policy.py\"",
             "timeout": 30}]}],
        "UserPromptSubmit": [{"hooks": [{"type": "command", "command": "python3 ~/.codex/hooks/keys.py"}]}],
    },
}

CODEX_CONFIG = """\
model = "gpt-5-codex"
model_reasoning_effort = "high" # ... and slow
approval_policy = "on-request"
notify = ["notify-send", "Codex"]
developer_instructions = \"\"\"
Write short sentences.
\"\"\"

[features]
hooks = true

[projects."/home/ada/shop.v2"]
trust_level = "trusted"

[mcp_servers.docs]
command = "npx"
args = ["-y", "docs-server"]
env = { DOCS_TOKEN_FILE = "/home/ada/.docs" }
"""

# The same hooks inside config.toml, as it may hold them in hooks.json's stead.
CODEX_HOOKS_IN_CONFIG = """
[[hooks.PreToolUse]]
matcher = "^Bash$"

[[hooks.PreToolUse.hooks]]
type = "command"
command = '"$(git rev-parse --show-toplevel)/.codex/hooks/policy.py"'
timeout = 30
statusMessage = "Checking the command"
"""


def with_entry(name, event, entry):
    """The agent's configuration with one more entry, in a group of its own."""
    content = json.loads(json.dumps({"claude-code": CLAUDE_CODE, "codex": CODEX}.get(name, {"hooks": {}})))
    content["hooks"].setdefault(event, []).append({"hooks": [entry]})
    return content
