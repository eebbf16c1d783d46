#!/usr/bin/env python3
"""The entries for coding agents that the documents show, as the agents run them.

Each command goes through a shell with a stand-in of the hook behind its path: the words must arrive
whole, the answer must come out in the form that the agent takes, and what the agent cannot bear, a
missing hook, must look like a good end to it. With node, which opencode's plugin needs, that too.
"""

import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCES = Path(__file__).resolve().parent.parent
PROGRAM = "/usr/local/bin/sorvane-hook"
CREDENTIAL = "/Users/ada/Library/Application Support/FILE"
# Copilot CLI, by its event, its identifier here and its file's version.
INNER_OBJECT_ONLY = {("UserPromptSubmit", "custom-UUID", 1)}
# Gemini CLI, by its event.
BLOCKED_BY_A_MISSING_HOOK = {"BeforeAgent"}

STANDIN = """#!/bin/sh
printf '%s\\n' "$@" >'{folder}/words'
cat >'{folder}/event'
cat '{folder}/answer'
"""

DRIVER = """
import { Sorvane } from "./sorvane.mjs"
const hooks = await Sorvane({ directory: "/home/ada/site" })
const parts = [
  { id: "prt_1", type: "text", text: "Called the Read tool", synthetic: true },
  { id: "prt_2", type: "file", mime: "image/png", url: "data:image/png;base64,AAEC" },
  { id: "prt_3", type: "text", text: "What is this?" },
]
await hooks["chat.message"]({ sessionID: "ses" }, { message: { id: "msg" }, parts })
console.log(JSON.stringify(parts.slice(3)))
"""


def blocks(page):
    return re.findall(r"^```json\n(.*?)^```", (SOURCES / page).read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)


def entries(page):
    """Event, form and command of each configuration on a page."""
    for block in blocks(page):
        configuration = json.loads(block)
        if "hooks" in configuration:
            [(event, [entry])] = configuration["hooks"].items()
            yield event, configuration.get("version"), entry.get("hooks", [entry])[0]["command"]


def answer():
    """The answer that the page of the event shows for every agent but one."""
    [sample] = [block for block in blocks("docs/hook-event.md") if "hookSpecificOutput" in block]
    return sample


def make_standin(folder):
    (folder / "answer").write_text(answer(), encoding="utf-8")
    program = folder / "sorvane-hook"
    program.write_text(STANDIN.format(folder=folder), encoding="utf-8")
    program.chmod(0o755)
    return program


def words(folder):
    return (folder / "words").read_text(encoding="utf-8").splitlines()


def check_words(said, where):
    assert said[0] == "--agent" and said[2] == "--client-id" and said[4] == "--credential-file", (where, said)
    assert said[3] == "ID" and said[5:] == [CREDENTIAL], (where, said)
    return said[1]


def run(command):
    return subprocess.run(["sh", "-c", command], input="{}", capture_output=True, text=True, check=False, timeout=10)


def check_entry(page, event, version, command, folder):
    where = f"{page}: {command}"
    assert command.startswith(PROGRAM + " "), where
    ran = run(command.replace(PROGRAM, str(folder / "sorvane-hook")))
    assert ran.returncode == 0 and ran.stderr == "", (where, ran)
    agent = check_words(words(folder), where)

    whole = json.loads(answer())
    inner_only = (event, agent, version) in INNER_OBJECT_ONLY
    assert json.loads(ran.stdout) == (whole["hookSpecificOutput"] if inner_only else whole), (where, ran)

    missing = run(command.replace(PROGRAM, str(folder / "none")))
    assert missing.returncode == 0 or event not in BLOCKED_BY_A_MISSING_HOOK, (where, missing)


def check_plugin(folder):
    plugin = (SOURCES / "packaging/opencode/sorvane.js").read_text(encoding="utf-8")
    for word, value in [(PROGRAM, str(folder / "sorvane-hook")), ('"FILE"', f'"{CREDENTIAL}"')]:
        assert word in plugin, word
        plugin = plugin.replace(word, value)
    (folder / "driver.mjs").write_text(DRIVER, encoding="utf-8")

    def added(text):
        (folder / "sorvane.mjs").write_text(text, encoding="utf-8")
        ran = subprocess.run(["node", folder / "driver.mjs"], capture_output=True, text=True, check=False, timeout=30)
        assert ran.returncode == 0, ran
        return json.loads(ran.stdout)

    [part] = added(plugin)
    check_words(words(folder), "plugin")
    event = json.loads((folder / "event").read_text(encoding="utf-8"))
    # The digest of the bytes 0, 1, 2.
    digest = "ae4b3280e56e2faf83f414a6e3dabe9d5fbe18976544c05fed121accb85b53fc"
    assert event == {"prompt": "What is this?", "attachments": [{"sha256": digest}], "cwd": "/home/ada/site",
                     "session_id": "ses", "turn_id": "msg"}, event
    assert part["text"] == json.loads(answer())["hookSpecificOutput"]["additionalContext"], part
    assert part["id"] > "prt_3" and part["type"] == "text", part

    assert not added(plugin.replace(str(folder / "sorvane-hook"), str(folder / "none")))
    (folder / "answer").write_text("", encoding="utf-8")
    assert not added(plugin)


def main():
    found = [(page, *entry) for page in ("README.md", "docs/agents.md") for entry in entries(page)]
    assert {page for page, *_ in found} == {"README.md", "docs/agents.md"}, found
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        make_standin(folder)
        for entry in found:
            check_entry(*entry, folder)
        if shutil.which("node"):
            check_plugin(folder)
        else:
            print("without node the plugin was not tried")


if __name__ == "__main__":
    sys.exit(main())
