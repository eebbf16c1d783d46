#!/usr/bin/env python3
"""Examines healthy worlds and broken ones, compares each transcript with the one that is kept, then does exactly
what every line says, and sees that nothing is left to do.

    transcripts_test.py --programs FOLDER [--keep-new] [NAME...]

With --keep-new the transcripts of the named worlds, or of all, are written anew.
"""

import argparse
import difflib
import json
import re
import shutil
import sys
from pathlib import Path

sys.dont_write_bytecode = True

from world import CUSTOM, HASH, World

FOLDER = Path(__file__).resolve().parent / "transcripts"
ROUNDS = 6  # one mended thing may bring another to light

worlds = {}


def broken(check, status="failed", agents=("claude-code", "codex"), arguments=()):
    """A world of these agents that is well but for what the function does; the check says so."""
    def note(function):
        worlds[function.__name__.replace("_", "-")] = (function, check, status, agents, arguments)
        return function
    return note


@broken(None)
def healthy(_world):
    pass


@broken(None, agents=("claude-code", "codex", "cursor", "gemini", "copilot"))
def healthy_with_every_form_of_entry(_world):
    pass


@broken("root")
def no_root(world):
    world.stop()
    shutil.rmtree(world.root)


@broken("socket")
def application_not_running(world):
    world.stop()
    (world.root / "Runtime/sorvane.sock").unlink()


@broken("socket")
def application_died(world):
    world.stop()


@broken("socket")
def file_in_the_socket_s_place(world):
    world.stop()
    path = world.root / "Runtime/sorvane.sock"
    path.unlink()
    path.write_text("")


@broken("socket")
def socket_open_to_others(world):
    (world.root / "Runtime/sorvane.sock").chmod(0o666)


@broken("manifest")
def no_manifest(world):
    world.agent_file("codex").unlink()


@broken("manifest")
def manifest_lacks_a_key(world):
    world.change_manifest("codex", without=["clientID"])


@broken("manifest")
def manifest_of_another_agent(world):
    shutil.copy(world.agent_file("codex"), world.agent_file("claude-code"))


@broken("manifest")
def manifest_is_no_json(world):
    world.agent_file("codex").write_text("{")


@broken("hook program")
def hook_program_gone(world):
    world.change_manifest("codex", hookExecutablePath="/opt/sorvane/sorvane-hook")


@broken("MCP program")
def mcp_program_gone(world):
    world.change_manifest("codex", mcpExecutablePath="/opt/sorvane/sorvane-mcp")


@broken("MCP program")
def mcp_program_not_executable(world):
    world.mcp.chmod(0o644)


@broken("credential")
def credential_gone(world):
    world.credential("codex").unlink()


@broken("credential")
def credential_of_another_installation(world):
    world.credential("codex").write_text("another one")


@broken("credential", "warning")
def credential_readable_by_others(world):
    world.credential("codex").chmod(0o644)


@broken("hook entry")
def no_hook_entry(world):
    world.write(world.configuration("claude-code"), {"permissions": {"allow": []}})


@broken("hook entry")
def no_configuration_at_all(world):
    shutil.rmtree(world.configuration("codex").parent)


@broken("hook entry")
def hook_at_another_event(world):
    world.configure("claude-code", event="SessionStart")


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


@broken("time-out")
def too_little_time(world):
    world.configure("claude-code", timeout=2)


@broken("time-out", agents=("gemini",))
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


@broken("decoder")
def decoders_gone(world):
    world.doctor = Path(shutil.copy(world.doctor, world.top / "sorvane-doctor"))


@broken("last prompt")
def prompt_while_sorvane_was_away(world):
    world.stop()
    world.submit(f"sorvane://image/{HASH}")
    world.start()


@broken("last prompt")
def image_that_sorvane_does_not_hold(world):
    world.submit(f"sorvane://image/{HASH}")


@broken("last prompt")
def agent_without_a_folder(world):
    world.submit(f"sorvane://image/{HASH}", cwd=None)


@broken(None)
def session_running(world):
    world.record_session("codex")


@broken(None)
def session_gone(world):
    world.record_session("codex", processID=2**22 + 1)


@broken(None)
def session_s_number_is_another_program_s(world):
    world.record_session("codex", executablePath="/opt/sorvane/sorvane-mcp")


@broken("MCP session", "warning")
def session_of_an_earlier_installation(world):
    world.record_session("codex", clientID="codex-old")


def enrolled(name):
    return name if name in ("claude-code", "codex", "cursor") else CUSTOM


def make_world(programs, agents):
    world = World(programs)
    for name in agents:
        world.install(enrolled(name))
        world.configure(name)
    world.start()
    world.submit()
    return world


def findings(world, arguments):
    run = world.examine("--json", *arguments)
    document = json.loads(run.stdout)
    assert run.stderr == b"", run.stderr
    assert run.returncode == (0 if document["well"] else 1), run.returncode
    return [finding for section in document["sections"] for finding in section["findings"]], document["well"]


def concealed(world, text):
    """The transcript without what differs from run to run; and never a credential in it."""
    for credential in (world.top / "my credentials").glob("*"):
        assert credential.read_text() not in text, "a credential is shown"
    text = text.replace(str(world.top), "@TOP@").replace(str(world.programs), "@PROGRAMS@")
    text = re.sub(r"\bprocess \d+", "process @PROCESS@", text)
    text = re.sub(r"(, or )/\S+(/libexec/sorvane)", r"\1@PREFIX@\2", text)
    text = re.sub(r"( decodes (?!nothing))\w.*", r"\1@FORMATS@", text)
    return re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC", "@WHEN@", text)


def compare(name, text, keep_new):
    path = FOLDER / (name + ".txt")
    if keep_new:
        path.write_text(text)
    kept = path.read_text() if path.exists() else ""
    return list(difflib.unified_diff(kept.splitlines(), text.splitlines(), "kept", "now", lineterm=""))


def play(name, programs, keep_new):
    function, check, status, agents, arguments = worlds[name]
    with make_world(programs, agents) as world:
        function(world)
        run = world.examine(*arguments)
        difference = compare(name, concealed(world, run.stdout.decode()), keep_new)
        found, well = findings(world, arguments)
        statuses = [finding["status"] for finding in found if finding["check"] == check]
        if check is None:
            assert well and {finding["status"] for finding in found} == {"ok"}, found
        else:
            assert status in statuses, f"{check} is {statuses}"
            assert well == (status != "failed"), "the exit status is another"
        for _ in range(ROUNDS):
            todo = [finding for finding in found if finding["status"] != "ok"]
            if not todo:
                break
            for finding in todo:
                if "remedy" not in finding or finding["remedy"].startswith("Look "):
                    assert finding["status"] == "not known", f"nothing to do: {finding}"
                    return difference
                world.follow(finding)
            found, well = findings(world, arguments)
        assert not todo, f"still to do: {todo}"
        return difference


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True)
    parser.add_argument("--keep-new", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    failures = 0
    for name in options.names or worlds:
        try:
            difference = play(name, options.programs, options.keep_new)
        except AssertionError as failure:
            difference = [f"{failure}"]
        if difference:
            failures += 1
            print(f"{name}:", *difference, sep="\n    ")
    kept = {path.stem for path in FOLDER.glob("*.txt")}
    if kept != set(worlds):
        failures += 1
        print("transcripts without a world, or worlds without one:", *sorted(kept ^ set(worlds)))
    print(f"{len(worlds)} worlds, {failures} failures")
    return 1 if failures else 0


sys.exit(main())
