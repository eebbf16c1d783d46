"""Worlds in which an agent's own configuration is broken: the hook's entry, its command, what the agent makes of it."""

import json
import os
import shutil

from world import PLUGIN
from worlds import broken


@broken("hook entry")
def no_hook_entry(world):
    world.write(world.configuration("claude-code"), {"permissions": {"allow": []}})


@broken("hook entry")
def no_configuration_at_all(world):
    shutil.rmtree(world.configuration("codex").parent)


@broken("hook entry")
def hook_at_another_event(world):
    world.configure("claude-code", event="SessionStart")


@broken("hook entry")
def folders_that_variables_move(world):
    world.environment["CLAUDE_CONFIG_DIR"] = str(world.home / "elsewhere/claude")
    world.environment["CODEX_HOME"] = str(world.home / "elsewhere/codex")


@broken("hook entry", "not known")
def configuration_of_another_form(world):
    world.write(world.configuration("claude-code"), {"hooks": [{"event": "UserPromptSubmit", "command": "x"}]})


@broken("hook entry", "not known", agents=("qwen",))
def custom_agent_without_an_entry(world):
    world.configuration("qwen").unlink()


@broken("hook entry", "not known")
def configuration_is_no_json(world):
    world.write(world.configuration("claude-code"), '{"hooks": {} // mine\n}')


@broken("hook entry")
def hook_in_both_files_of_codex(world):
    path = world.configuration("codex").parent / "config.toml"
    world.write(path, path.read_text() + "\n[[hooks.UserPromptSubmit]]\n[[hooks.UserPromptSubmit.hooks]]\n"
                f'type = "command"\ncommand = {json.dumps(world.command("codex"))}\ntimeout = 30\n')


@broken("hook entry")
def hook_twice_in_one_file(world):
    path = world.configuration("claude-code")
    document = json.loads(path.read_text())
    document["hooks"]["UserPromptSubmit"] *= 2
    world.write(path, document)


@broken("hook entry", arguments=("--workspace", "."))
def hook_in_the_project_as_well(world):
    world.write(world.project / ".claude/settings.local.json",
                {"hooks": json.loads(world.configuration("claude-code").read_text())["hooks"]})


@broken("command")
def credential_path_not_quoted(world):
    world.configure("claude-code", world.command("claude-code", quote=str))


@broken("command")
def program_path_not_quoted(world):
    (world.top / "Sorvane Helpers").mkdir()
    world.hook = world.top / "Sorvane Helpers/sorvane-hook"
    world.hook.symlink_to(world.programs / "sorvane-hook")
    world.install("claude-code")
    world.configure("claude-code", world.command("claude-code").replace("'", "", 2))


@broken("command")
def credential_in_its_path_s_place(world):
    world.configure("claude-code", world.command("claude-code").partition("--credential-file")[0] +
                    "--credential-file " + world.credential("claude-code").read_text())


@broken("command", testing=False)
def credential_path_not_quoted_outside_testing_mode(world):
    world.configure("codex", world.command("codex", quote=str))


@broken("command", testing=False)
def credential_path_in_another_spelling(world):
    world.configure("codex", world.command("codex").replace("/my credentials/", "/./my credentials/"))


@broken("command", testing=False)
def credential_path_that_depends_on_the_folder(world):
    path = str(world.credential("codex"))
    world.configure("codex", world.command("codex").replace(path, os.path.relpath(path, world.project)))


@broken("command", agents=("opencode", "qwen"))
def plugin_as_it_was_copied(world):
    world.write(world.configuration("opencode"), PLUGIN.read_text())


@broken("command", agents=("opencode",))
def plugin_of_another_client(world):
    path = world.configuration("opencode")
    world.write(path, path.read_text().replace("-desk", "-old"))


@broken("command", "not known")
def command_that_path_decides(world):
    world.configure("claude-code", world.command("claude-code").replace(str(world.hook), "sorvane-hook"))


@broken("command")
def client_of_an_earlier_installation(world):
    world.configure("claude-code", world.command("claude-code").replace("claude-code-desk", "claude-code-old"))


@broken("command")
def command_of_another_agent(world):
    world.configure("claude-code", world.command("codex"))


@broken("command")
def command_without_credential(world):
    world.configure("claude-code", world.command("claude-code").partition(" --credential-file")[0])


@broken("command", "not known")
def command_that_only_its_shell_knows(world):
    world.configure("claude-code", "$SORVANE_HOOK_DIR/sorvane-hook " +
                    world.command("claude-code").partition(" ")[2])


@broken("timeout")
def too_little_time(world):
    world.configure("claude-code", timeout=2)


@broken("timeout", agents=("gemini",))
def too_little_time_in_milliseconds(world):
    world.configure("gemini", timeout=30)


@broken("command", "warning", agents=("gemini",))
def prompts_blocked_when_the_hook_is_missing(world):
    world.configure("gemini", world.command("gemini").removesuffix(" || true"))


@broken("command", agents=("copilot",))
def answer_that_is_not_understood(world):
    world.configure("copilot", world.command("copilot").partition(" | ")[0])


@broken("answer")
def hook_in_the_background(world):
    world.configure("claude-code", **{"async": True})


@broken("hooks")
def all_hooks_switched_off(world):
    path = world.configuration("claude-code")
    world.write(path, {**json.loads(path.read_text()), "disableAllHooks": True})


@broken("hooks")
def codex_hooks_switched_off(world):
    path = world.configuration("codex").parent / "config.toml"
    world.write(path, path.read_text().replace("hooks = true", "hooks = false"))


@broken("trust")
def codex_does_not_trust_the_hook(world):
    world.write(world.configuration("codex").parent / "config.toml", 'model = "o"\n')


@broken("trust", "warning")
def codex_trusted_another_wording(world):
    world.change_entry("codex", timeout=60)


@broken("trust")
def codex_hook_switched_off(world):
    world.trust(enabled="false")
