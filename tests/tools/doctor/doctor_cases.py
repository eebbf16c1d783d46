"""What the doctor examines: each case makes a healthy stage another, and names what the doctor must say of it. Here
those with nothing wrong."""

import hashlib
import json

from documented import CODEX_CONFIG, CODEX_HOOKS_IN_CONFIG

cases = {}


def broken(check, status="failed", agents=("claude-code", "codex"), arguments=(), testing=True):
    """A healthy stage of these agents but for what the function does; this check must have this status, None: every
    check must be ok."""
    def note(function):
        cases[function.__name__.replace("_", "-")] = (function, check, status, agents, arguments, testing)
        return function
    return note


@broken(None)
def healthy(_stage):
    pass


@broken(None, agents=("claude-code", "codex", "cursor", "gemini", "qwen", "copilot", "opencode"))
def healthy_with_every_agent(_stage):
    pass


@broken(None, testing=False)
def healthy_outside_testing_mode(_stage):
    pass


@broken(None, agents=("codex",))
def healthy_with_codex_hooks_in_its_other_file(stage):
    path = stage.configuration("codex").parent / "config.toml"
    stage.configuration("codex").unlink()
    command = stage.command("codex")
    # What codex 0.169 digests of such an entry.
    text = json.dumps({"event_name": "user_prompt_submit", "hooks": [
        {"async": False, "command": command, "timeout": 30, "type": "command"}]}, separators=(",", ":"))
    stage.write(path, CODEX_CONFIG + CODEX_HOOKS_IN_CONFIG + "\n[[hooks.UserPromptSubmit]]\n"
                f'[[hooks.UserPromptSubmit.hooks]]\ntype = "command"\ncommand = {json.dumps(command)}\ntimeout = 30\n'
                f"\n[hooks.state.{json.dumps(f'{path}:user_prompt_submit:0:0')}]\n"
                f'trusted_hash = "sha256:{hashlib.sha256(text.encode()).hexdigest()}"\n')
