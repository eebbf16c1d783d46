"""An installation to be examined: the application's root with the stand-in behind it, agents enrolled in it, and
each agent's own configuration in a home of its own."""

import hashlib
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "cases"))

from documented import CODEX_CONFIG, with_entry
from stage import account_at
from test_command import Skipped

HASH = "ab" * 32
PLUGIN = Path(__file__).resolve().parents[3] / "packaging/opencode/sorvane.js"

# The path of each agent's hooks in its home, their event, and what follows the hook in its command.
CONFIGURATIONS = {
    "claude-code": (".claude/settings.json", "UserPromptSubmit", ""),
    "codex": (".codex/hooks.json", "UserPromptSubmit", ""),
    "cursor": (".cursor/hooks.json", "beforeSubmitPrompt", ""),
    "gemini": (".gemini/settings.json", "BeforeAgent", " || true"),
    "qwen": (".qwen/settings.json", "UserPromptSubmit", ""),
    "copilot": (".copilot/hooks/sorvane.json", "UserPromptSubmit",
                " | sed 's/^{\"hookSpecificOutput\"://; s/}$//'"),
    "opencode": (".config/opencode/plugins/sorvane.js", "chat.message", ""),
}


def identifier(name):
    """What an agent is registered as."""
    if name in ("claude-code", "codex", "cursor"):
        return name
    return f"custom-3f2b8c1a-6d4e-4f50-9a7b-1c2d3e4f5a{list(CONFIGURATIONS).index(name):02d}"


def with_command(plugin, words):
    """The plugin with another command."""
    return re.sub(r"^const command = .*$", lambda _: "const command = " + json.dumps(words), plugin, flags=re.M)


class DoctorStage:
    def __init__(self, programs, testing=True):
        self.programs = Path(programs).resolve()
        # Not in TMPDIR: that may be long, and a socket's path must stay within some 100 bytes.
        self.top = Path(tempfile.mkdtemp(prefix="sorvane-", dir="/tmp")).resolve()
        self.home = self.top / "home"
        self.root = self.top / "root" if testing else self.home / "Library/Application Support/Sorvane"
        self.scratch = self.top
        self.project = self.top / "project"
        self.hook = self.programs / "sorvane-hook"
        self.doctor = self.programs / "sorvane-doctor"
        self.mcp = self.top / "sorvane-mcp"
        self.application = None
        self.environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.home)}
        if testing:
            self.environment |= {"SORVANE_TESTING": "1", "SORVANE_APP_SUPPORT": str(self.root)}
        else:
            self.environment |= self.account()
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.home.mkdir()
        self.project.mkdir()
        self.mcp.write_text("#!/bin/sh\n")
        self.mcp.chmod(0o755)

    def account(self):
        """The environment in which the account's home is this one."""
        try:
            return {os.fsdecode(name): os.fsdecode(value) for name, value in account_at(self).items()}
        except Skipped:
            shutil.rmtree(self.top)
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        shutil.rmtree(self.top, ignore_errors=True)

    # The application

    def start(self):
        self.stop()
        self.application = subprocess.Popen([self.programs / "sorvane-standin", "serve", "--root", self.root],
                                            stdout=subprocess.PIPE)
        self.application.stdout.readline()

    def stop(self):
        if self.application:
            self.application.kill()
            self.application.wait()
            self.application.stdout.close()
            self.application = None

    def agent_file(self, agent, suffix=".json"):
        return self.root / "Integrations/Agents" / (agent + suffix)

    def credential(self, agent):
        return self.top / "my credentials" / agent

    def install(self, agent):
        """What the application does to install its integration, but for the agent's own configuration."""
        subprocess.run([self.programs / "sorvane-standin", "enrol", "--root", self.root, "--agent", agent,
                        "--client-id", agent + "-desk", "--credential-file", self.credential(agent)],
                       check=True, stdout=subprocess.DEVNULL)
        self.change_manifest(agent, hookExecutablePath=str(self.hook), mcpServerName="sorvane",
                             mcpExecutablePath=str(self.mcp))

    def change_manifest(self, agent, without=(), **members):
        manifest = json.loads(self.agent_file(agent).read_text())
        manifest.update(members)
        for key in without:
            del manifest[key]
        self.agent_file(agent).write_text(json.dumps(manifest))

    # The agents

    def configuration(self, name):
        moved = self.environment.get({"claude-code": "CLAUDE_CONFIG_DIR", "codex": "CODEX_HOME"}.get(name))
        path = Path(CONFIGURATIONS[name][0])
        return Path(moved) / path.name if moved else self.home / path

    def command(self, name, agent=None, quote=shlex.quote):
        agent = agent or identifier(name)
        return (f"{quote(str(self.hook))} --agent {agent} --client-id {agent}-desk "
                f"--credential-file {quote(str(self.credential(agent)))}{CONFIGURATIONS[name][2]}")

    def write(self, path, content):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content if isinstance(content, str) else json.dumps(content, indent=2))

    def configure(self, name, command=None, event=None, **members):
        """The agent's configuration in the form of its documentation, with other things of the user's around."""
        command = command or self.command(name)
        event = event or CONFIGURATIONS[name][1]
        path = self.configuration(name)
        if name == "opencode":
            self.write(path, with_command(PLUGIN.read_text(), shlex.split(command)))
        elif name in ("cursor", "copilot"):
            kind = {"type": "command"} if name == "copilot" else {}
            self.write(path, {"version": 1, "hooks": {event: [{**kind, "command": command, **members}]}})
        else:
            self.write(path, with_entry(name, event, {"type": "command", "command": command, **members}))
        if name == "codex":
            self.trust()

    def change_entry(self, name, **members):
        """Changes members of the hook's entry; None removes one."""
        for path in self.configuration_files():
            if path.suffix != ".json":
                continue
            document = json.loads(path.read_text())
            for entry in self.entries(document):
                entry.update(members)
                for key in [key for key, value in members.items() if value is None]:
                    del entry[key]
            if path == self.configuration(name):
                self.write(path, document)

    def configuration_files(self):
        return sorted(path for folder in (self.home, self.project) for path in folder.rglob("*")
                      if path.suffix in (".json", ".toml", ".js") and self.root not in path.parents)

    @staticmethod
    def entries(document):
        """Every entry of a configuration that runs the hook."""
        for listed in document.get("hooks", {}).values():
            for group in listed if isinstance(listed, list) else ():
                for entry in group.get("hooks", [group]):
                    if "sorvane-hook" in entry.get("command", ""):
                        yield entry

    def commands(self):
        """Every command that runs the hook, as the agents run it."""
        for path in self.configuration_files():
            if path.suffix == ".json":
                yield from (entry["command"] for entry in self.entries(json.loads(path.read_text())))
            elif path.suffix == ".js":
                yield shlex.join(json.loads(re.search(r"^const command = (.*)$", path.read_text(), re.M)[1]))

    def trust(self, **members):
        """What codex writes when its user trusts the hook: the digest of a normal form of the entry."""
        path = self.configuration("codex")
        groups = json.loads(path.read_text())["hooks"].get("UserPromptSubmit", [])
        lines = [CODEX_CONFIG]
        for group_index, group in enumerate(groups):
            for index, entry in enumerate(group["hooks"]):
                identity = {"event_name": "user_prompt_submit", "hooks": [{
                    "type": "command", "command": entry["command"], "timeout": entry.get("timeout", 600),
                    "async": entry.get("async", False)}]}
                text = json.dumps(identity, separators=(",", ":"), sort_keys=True, ensure_ascii=False)
                lines += ["", f"[hooks.state.{json.dumps(f'{path}:user_prompt_submit:{group_index}:{index}')}]",
                          f'trusted_hash = "sha256:{hashlib.sha256(text.encode()).hexdigest()}"']
                lines += [f"{key} = {value}" for key, value in members.items()]
        self.write(path.parent / "config.toml", "\n".join(lines) + "\n")

    def submit(self, prompt=None, **members):
        """Submits a prompt to every agent of the home: each runs its hook with the event."""
        event = {"prompt": prompt or "What is in this picture?", "cwd": str(self.project), "session_id": "s1",
                 **members}
        event = json.dumps({key: value for key, value in event.items() if value is not None})
        for command in self.commands():
            subprocess.run(["/bin/sh", "-c", command], input=event.encode(), stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=False, env=self.environment, cwd=self.project, timeout=60)

    def record_session(self, agent, **members):
        session = {"clientID": agent + "-desk", "processID": os.getpid(),
                   "executablePath": os.path.realpath(sys.executable), "clientName": agent,
                   "initializedAt": 816920622.5, **members}
        self.agent_file(agent, "-mcp-session.json").write_text(json.dumps(session))

    def credentials(self):
        """What nobody may be shown."""
        return [text for path in self.credential("").glob("*") if path.is_file() and (text := path.read_bytes())]

    def examine(self, *arguments):
        run = subprocess.run([self.doctor, *arguments], env=self.environment, capture_output=True, timeout=120,
                             check=False, cwd=self.project)
        for credential in self.credentials():
            assert credential not in run.stdout + run.stderr, "a credential is shown"
        return run
