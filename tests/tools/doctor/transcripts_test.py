#!/usr/bin/env python3
"""Examines healthy worlds and broken ones, compares each transcript with the one that is kept, then does exactly
what every line says, and sees that nothing is left to do. What README and docs/doctor.md quote of the doctor must be
among what it said.

    transcripts_test.py --programs FOLDER [--keep-new] [NAME...]

With --keep-new the transcripts of the named worlds, or of all, are written anew.
"""

import argparse
import difflib
import hashlib
import json
import os
import re
import shutil
import sys
from pathlib import Path

sys.dont_write_bytecode = True

from documented import CODEX_CONFIG, CODEX_HOOKS_IN_CONFIG
from remedies import MendedWorld
from run_case import Skipped
from world import HASH, PLUGIN, identifier

FOLDER = Path(__file__).resolve().parent / "transcripts"
SOURCES = Path(__file__).resolve().parents[3]
ROUNDS = 6  # one mended thing may bring another to light

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


@broken("agents", agents=())
def nothing_installed(world):
    world.stop()
    shutil.rmtree(world.root)


@broken("root", testing=False)
def no_root_outside_testing_mode(world):
    world.stop()
    shutil.rmtree(world.root)


@broken("root", "warning", testing=False)
def variable_that_counts_in_tests_only(world):
    world.environment["SORVANE_APP_SUPPORT"] = "/somewhere"


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


@broken("socket")
def socket_of_another_user(world):
    if os.geteuid() != 0:
        raise Skipped("only root can give a socket away")
    os.chown(world.root / "Runtime/sorvane.sock", 12345, -1)


@broken("manifest")
def manifest_is_a_folder(world):
    world.agent_file("codex").unlink()
    world.agent_file("codex").mkdir()


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


@broken("credential")
def credential_without_a_text(world):
    world.credential("codex").write_text("")
    world.change_manifest("codex", credentialHash=hashlib.sha256(b"").hexdigest())


@broken("credential")
def credential_is_a_pipe(world):
    world.credential("codex").unlink()
    os.mkfifo(world.credential("codex"))


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


@broken("decoder")
def decoders_gone(world):
    world.doctor = Path(shutil.copy(world.doctor, world.top / "sorvane-doctor"))


@broken("decoder")
def decoder_that_does_not_start(world):
    world.doctor = Path(shutil.copy(world.doctor, world.top / "sorvane-doctor"))
    world.install_programs()
    world.write(world.top / "sorvane-pixels", "#!/bin/sh\nexit 127\n")


@broken("decoder")
def decoder_without_webp(world):
    world.doctor = Path(shutil.copy(world.doctor, world.top / "sorvane-doctor"))
    world.install_programs()
    # A picture in the RIFF's form is not for it.
    world.write(world.top / "sorvane-pixels", f"#!/bin/sh\ncat >{world.top}/picture\n"
                f"[ \"$(/usr/bin/head -c 4 {world.top}/picture)\" != RIFF ] || exit 1\n"
                f"exec {world.programs}/sorvane-pixels \"$@\" <{world.top}/picture\n")


@broken("last prompt", "not known")
def no_prompt_yet(world):
    world.agent_file("codex", "-hook-state.json").unlink()


@broken("last prompt", "not known")
def prompt_of_an_earlier_installation(world):
    path = world.agent_file("codex", "-hook-state.json")
    path.write_text(path.read_text().replace("codex-desk", "codex-old"))


@broken("last prompt", "not known")
def record_of_the_prompt_is_no_json(world):
    world.agent_file("codex", "-hook-state.json").write_text("{")


@broken("last prompt", "not known")
def folder_in_the_record_s_place(world):
    world.agent_file("codex", "-hook-state.json").unlink()
    world.agent_file("codex", "-hook-state.json").mkdir()


@broken("last prompt", "warning", agents=("cursor",))
def attachments_that_are_not_named(world):
    world.submit(attachments=[{"file_path": "/nowhere/a.png"}])


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


@broken("MCP session", "not known")
def record_of_the_session_is_no_json(world):
    world.agent_file("codex", "-mcp-session.json").write_text("[]")


def make_world(programs, agents, testing):
    world = MendedWorld(programs, testing)
    for name in agents:
        world.install(identifier(name))
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
    """The transcript without what differs from run to run."""
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


def quotable(world, finding):
    """What documents may quote of a finding, with their names of a person's folders."""
    texts = [finding.get(key, "") for key in ("check", "status", "text", "remedy", "command")]
    if world:
        texts = [text.replace(str(world.root), "/Users/ada/Library/Application Support/Sorvane")
                 .replace(str(world.home), "/Users/ada") for text in texts]
    return tuple(texts)


def quoted_faults(said):
    """What README and docs/doctor.md quote that the doctor did not say."""
    page = (SOURCES / "docs/doctor.md").read_text()
    sample = json.loads(re.search(r"```json\n(.*)\n```", page)[1])
    for section in sample["sections"]:
        for finding in section["findings"]:
            if quotable(None, finding) not in said:
                yield f"docs/doctor.md: {finding['text']}"
    rows = re.findall(r"^\| (.*) \| (.*) \|$", (SOURCES / "README.md").read_text().partition("| it says | so |")[2]
                      .partition("\n\n")[0], re.M)
    assert len(rows) >= 5
    for row in rows:
        text, remedy = (re.escape(cell).replace(r"\.\.\.", ".*") for cell in row)
        if not any(re.match(text, one[2]) and re.fullmatch(remedy, one[3]) for one in said):
            yield f"README.md: {row[0]}"


def play(name, programs, keep_new, said):
    function, check, status, agents, arguments, testing = worlds[name]
    with make_world(programs, agents, testing) as world:
        function(world)
        run = world.examine(*arguments)
        difference = compare(name, concealed(world, run.stdout.decode()), keep_new)
        found, well = findings(world, arguments)
        said.update(quotable(world, finding) for finding in found)
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
                assert "remedy" in finding, f"nothing to do: {finding}"
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
    said = set()
    for name in options.names or worlds:
        try:
            difference = play(name, options.programs, options.keep_new, said)
        except Skipped as reason:
            print(f"{name}: skipped: {reason}")
            continue
        except AssertionError as failure:
            difference = [f"{failure}"]
        if difference:
            failures += 1
            print(f"{name}:", *difference, sep="\n    ")
    for fault in () if options.names else quoted_faults(said):
        failures += 1
        print("the doctor does not say this:", fault)
    kept = {path.stem for path in FOLDER.glob("*.txt")}
    if kept != set(worlds):
        failures += 1
        print("transcripts without a world, or worlds without one:", *sorted(kept ^ set(worlds)))
    print(f"{len(worlds)} worlds, {failures} failures")
    return 1 if failures else 0


sys.exit(main())
