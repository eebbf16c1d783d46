"""The worlds that the doctor examines, each with what it says of it; here those that are well."""

import hashlib
import json

from documented import CODEX_CONFIG, CODEX_HOOKS_IN_CONFIG

worlds = {}


def broken(check, status="failed", agents=("claude-code", "codex"), arguments=(), testing=True):
    """A world of these agents that is well but for what the function does; the check says so."""
    def note(function):
        worlds[function.__name__.replace("_", "-")] = (function, check, status, agents, arguments, testing)
        return function
    return note


@broken(None)
def healthy(_world):
    pass


@broken(None, agents=("claude-code", "codex", "cursor", "gemini", "qwen", "copilot", "opencode"))
def healthy_with_every_agent(_world):
    pass


@broken(None, testing=False)
def healthy_outside_testing_mode(_world):
    pass


@broken(None, agents=("codex",))
def healthy_with_codex_hooks_in_its_other_file(world):
    path = world.configuration("codex").parent / "config.toml"
    world.configuration("codex").unlink()
    command = world.command("codex")
    # What codex 0.169 digests of such an entry.
    text = json.dumps({"event_name": "user_prompt_submit", "hooks": [
        {"async": False, "command": command, "timeout": 30, "type": "command"}]}, separators=(",", ":"))
    world.write(path, CODEX_CONFIG + CODEX_HOOKS_IN_CONFIG + "\n[[hooks.UserPromptSubmit]]\n"
                f'[[hooks.UserPromptSubmit.hooks]]\ntype = "command"\ncommand = {json.dumps(command)}\ntimeout = 30\n'
                f"\n[hooks.state.{json.dumps(f'{path}:user_prompt_submit:0:0')}]\n"
                f'trusted_hash = "sha256:{hashlib.sha256(text.encode()).hexdigest()}"\n')
