"""Cases in which an agent's own configuration is broken: the hook's entry, its command, what the agent makes of it."""

import json
import os
import shutil

from doctor_cases import broken
from doctor_stage import PLUGIN


@broken("hook entry")
def no_hook_entry(stage):
    stage.write(stage.configuration("claude-code"), {"permissions": {"allow": []}})


@broken("hook entry")
def no_configuration_at_all(stage):
    shutil.rmtree(stage.configuration("codex").parent)


@broken("hook entry")
def hook_at_another_event(stage):
    stage.configure("claude-code", event="SessionStart")


@broken("hook entry")
def folders_that_variables_move(stage):
    stage.environment["CLAUDE_CONFIG_DIR"] = str(stage.home / "elsewhere/claude")
    stage.environment["CODEX_HOME"] = str(stage.home / "elsewhere/codex")


@broken("hook entry", "not known")
def configuration_of_another_form(stage):
    stage.write(stage.configuration("claude-code"), {"hooks": [{"event": "UserPromptSubmit", "command": "x"}]})


@broken("hook entry", "not known", agents=("qwen",))
def custom_agent_without_an_entry(stage):
    stage.configuration("qwen").unlink()


@broken("hook entry", "not known")
def configuration_is_no_json(stage):
    stage.write(stage.configuration("claude-code"), '{"hooks": {} // mine\n}')


@broken("hook entry")
def hook_in_both_files_of_codex(stage):
    path = stage.configuration("codex").parent / "config.toml"
    stage.write(path, path.read_text() + "\n[[hooks.UserPromptSubmit]]\n[[hooks.UserPromptSubmit.hooks]]\n"
                f'type = "command"\ncommand = {json.dumps(stage.command("codex"))}\ntimeout = 30\n')


@broken("hook entry")
def hook_twice_in_one_file(stage):
    path = stage.configuration("claude-code")
    document = json.loads(path.read_text())
    document["hooks"]["UserPromptSubmit"] *= 2
    stage.write(path, document)


@broken("hook entry", arguments=("--workspace", "."))
def hook_in_the_project_as_well(stage):
    stage.write(stage.project / ".claude/settings.local.json",
                {"hooks": json.loads(stage.configuration("claude-code").read_text())["hooks"]})


@broken("command")
def credential_path_not_quoted(stage):
    stage.configure("claude-code", stage.command("claude-code", quote=str))


@broken("command")
def program_path_not_quoted(stage):
    (stage.top / "Sorvane Helpers").mkdir()
    stage.hook = stage.top / "Sorvane Helpers/sorvane-hook"
    stage.hook.symlink_to(stage.programs / "sorvane-hook")
    stage.install("claude-code")
    stage.configure("claude-code", stage.command("claude-code").replace("'", "", 2))


@broken("command")
def credential_in_its_path_s_place(stage):
    stage.configure("claude-code", stage.command("claude-code").partition("--credential-file")[0] +
                    "--credential-file " + stage.credential("claude-code").read_text())


@broken("command", testing=False)
def credential_path_not_quoted_outside_testing_mode(stage):
    stage.configure("codex", stage.command("codex", quote=str))


@broken("command", testing=False)
def credential_path_in_another_spelling(stage):
    stage.configure("codex", stage.command("codex").replace("/my credentials/", "/./my credentials/"))


@broken("command", testing=False)
def credential_path_that_depends_on_the_folder(stage):
    path = str(stage.credential("codex"))
    stage.configure("codex", stage.command("codex").replace(path, os.path.relpath(path, stage.project)))


@broken("command", agents=("opencode", "qwen"))
def plugin_as_it_was_copied(stage):
    stage.write(stage.configuration("opencode"), PLUGIN.read_text())


@broken("command", agents=("opencode",))
def plugin_of_another_client(stage):
    path = stage.configuration("opencode")
    stage.write(path, path.read_text().replace("-desk", "-old"))


@broken("command", "not known")
def command_that_path_decides(stage):
    stage.configure("claude-code", stage.command("claude-code").replace(str(stage.hook), "sorvane-hook"))


@broken("command")
def client_of_an_earlier_installation(stage):
    stage.configure("claude-code", stage.command("claude-code").replace("claude-code-desk", "claude-code-old"))


@broken("command")
def command_of_another_agent(stage):
    stage.configure("claude-code", stage.command("codex"))


@broken("command")
def command_without_credential(stage):
    stage.configure("claude-code", stage.command("claude-code").partition(" --credential-file")[0])


@broken("command", "not known")
def command_that_only_its_shell_knows(stage):
    stage.configure("claude-code", "$SORVANE_HOOK_DIR/sorvane-hook " +
                    stage.command("claude-code").partition(" ")[2])


@broken("timeout")
def too_little_time(stage):
    stage.configure("claude-code", timeout=2)


@broken("timeout", agents=("gemini",))
def too_little_time_in_milliseconds(stage):
    stage.configure("gemini", timeout=30)


@broken("command", "warning", agents=("gemini",))
def prompts_blocked_when_the_hook_is_missing(stage):
    stage.configure("gemini", stage.command("gemini").removesuffix(" || true"))


@broken("command", agents=("copilot",))
def answer_that_is_not_understood(stage):
    stage.configure("copilot", stage.command("copilot").partition(" | ")[0])


@broken("answer")
def hook_in_the_background(stage):
    stage.configure("claude-code", **{"async": True})


@broken("hooks")
def all_hooks_switched_off(stage):
    path = stage.configuration("claude-code")
    stage.write(path, {**json.loads(path.read_text()), "disableAllHooks": True})


@broken("hooks")
def codex_hooks_switched_off(stage):
    path = stage.configuration("codex").parent / "config.toml"
    stage.write(path, path.read_text().replace("hooks = true", "hooks = false"))


@broken("trust")
def codex_does_not_trust_the_hook(stage):
    stage.write(stage.configuration("codex").parent / "config.toml", 'model = "o"\n')


@broken("trust", "warning")
def codex_trusted_another_wording(stage):
    stage.change_entry("codex", timeout=60)


@broken("trust")
def codex_hook_switched_off(stage):
    stage.trust(enabled="false")
