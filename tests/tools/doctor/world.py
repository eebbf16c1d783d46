"""A user's world to be examined: the application's root with the stand-in behind it, agents enrolled in it, and
each agent's own configuration in a home of its own. Whoever owns it can do what a doctor's line says."""

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

CUSTOM = "custom-3f2b8c1a-6d4e-4f50-9a7b-1c2d3e4f5a6b"
HASH = "ab" * 32

# Where each agent's hooks stand in its home, at which event, and what follows the hook in its command.
PLACES = {
    "claude-code": (".claude/settings.json", "UserPromptSubmit", ""),
    "codex": (".codex/hooks.json", "UserPromptSubmit", ""),
    "cursor": (".cursor/hooks.json", "beforeSubmitPrompt", ""),
    "gemini": (".gemini/settings.json", "BeforeAgent", " || true"),
    "qwen": (".qwen/settings.json", "UserPromptSubmit", ""),
    "copilot": (".copilot/hooks/sorvane.json", "UserPromptSubmit",
                " | sed 's/^{\"hookSpecificOutput\"://; s/}$//'"),
}


class World:
    def __init__(self, programs):
        self.programs = Path(programs).resolve()
        # Not in TMPDIR: that may be long, and a socket's path must stay within some 100 bytes.
        self.top = Path(tempfile.mkdtemp(prefix="sorvane-", dir="/tmp")).resolve()
        self.root = self.top / "root"
        self.home = self.top / "home"
        self.project = self.top / "project"
        self.hook = self.programs / "sorvane-hook"
        self.doctor = self.programs / "sorvane-doctor"
        self.mcp = self.top / "sorvane-mcp"
        self.application = None
        self.environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.home), "SORVANE_TESTING": "1",
                            "SORVANE_APP_SUPPORT": str(self.root)}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.home.mkdir()
        self.project.mkdir()
        self.mcp.write_text("#!/bin/sh\n")
        self.mcp.chmod(0o755)

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
        return self.home / PLACES[name][0]

    def command(self, name, agent=None, quote=shlex.quote):
        agent = agent or (name if name in ("claude-code", "codex", "cursor") else CUSTOM)
        return (f"{quote(str(self.hook))} --agent {agent} --client-id {agent}-desk "
                f"--credential-file {quote(str(self.credential(agent)))}{PLACES[name][2]}")

    def write(self, path, content):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content if isinstance(content, str) else json.dumps(content, indent=2))

    def configure(self, name, command=None, event=None, **members):
        """The agent's configuration in the form of its documentation, with other things of the user's around."""
        entry = {"type": "command", "command": command or self.command(name), **members}
        event = event or PLACES[name][1]
        if name in ("cursor", "copilot"):
            if name == "cursor":
                del entry["type"]
            content = {"version": 1, "hooks": {event: [entry]}}
        else:
            content = {"hooks": {event: [{"hooks": [entry]}]}}
        if name == "claude-code":
            content["permissions"] = {"allow": ["Bash(npm run lint)"], "deny": ["Read(./.env)"]}
            content["hooks"]["PreToolUse"] = [
                {"matcher": "Bash", "hooks": [{"type": "command", "command": "echo \"$CLAUDE_PROJECT_DIR\""}]}]
        if name == "codex":
            content["hooks"]["SessionStart"] = [
                {"matcher": "startup|resume", "hooks": [{"type": "command", "command": "true", "timeout": 30}]}]
        self.write(self.configuration(name), content)
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
                      if path.suffix in (".json", ".toml"))

    @staticmethod
    def entries(document):
        """Every entry of a configuration that runs the hook."""
        for listed in document.get("hooks", {}).values():
            for group in listed if isinstance(listed, list) else ():
                for entry in group.get("hooks", [group]):
                    if "sorvane-hook" in entry.get("command", ""):
                        yield entry

    def trust(self, **members):
        """What codex writes when its user trusts the hook: the digest of a normal form of the entry."""
        path = self.configuration("codex")
        groups = json.loads(path.read_text())["hooks"].get("UserPromptSubmit", [])
        lines = ["[features]", "hooks = true"]
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
        for path in self.configuration_files():
            if path.suffix == ".json":
                for entry in self.entries(json.loads(path.read_text())):
                    subprocess.run(["/bin/sh", "-c", entry["command"]], input=event.encode(),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False,
                                   env=self.environment, cwd=self.project, timeout=60)

    # The doctor, and doing what it says

    def examine(self, *arguments):
        return subprocess.run([self.doctor, *arguments], env=self.environment, capture_output=True, timeout=120,
                              check=False, cwd=self.project)

    def follow(self, finding):
        """Does what a finding says is to be done, and nothing else. The words are those of the doctor."""
        remedy = finding["remedy"].removeprefix("If the hook does not run: ")
        if "command" in finding:
            return subprocess.run(["/bin/sh", "-c", finding["command"]], check=True, env=self.environment)
        for pattern, action in self.ACTIONS.items():
            found = re.fullmatch(pattern, remedy)
            if found:
                return action(self, *found.groups(), **({"entry": finding["entry"]} if "entry" in finding else {}))
        raise AssertionError(f"nobody knows how to do this: {finding}")

    def reinstall(self, name):
        names = {"Claude Code": "claude-code", "Codex": "codex", "Cursor": "cursor"}
        self.install(names.get(name, name))

    def replace_command(self, path, entry):
        self.edit(path, lambda found: found.update(command=entry))

    def edit(self, path, change):
        document = json.loads(Path(path).read_text())
        for entry in self.entries(document):
            change(entry)
        self.write(Path(path), document)

    def merge(self, path, entry):
        path = Path(path)
        document = json.loads(path.read_text()) if path.exists() else {}
        wanted = json.loads(entry)
        for event, groups in wanted.pop("hooks").items():
            document.setdefault("hooks", {}).setdefault(event, []).extend(groups)
        document.update(wanted)
        self.write(path, document)

    def set_timeout(self, path, key, value):
        self.edit(path, lambda entry: entry.update({key: int(value)}))

    def move(self, path, old, new):
        document = json.loads(Path(path).read_text())
        document["hooks"][new] = document["hooks"].pop(old)
        self.write(Path(path), document)

    def take_out(self, path, key):
        def change(entry):
            entry.pop(key, None)
        document = json.loads(Path(path).read_text())
        document.pop(key, None)
        self.write(Path(path), document)
        self.edit(path, change)

    def keep_first(self, places):
        for path in dict.fromkeys(re.findall(r"(/\S+) \(\w+\)", places)[1:]):
            path = Path(path)
            if path.suffix == ".toml":
                path.write_text(path.read_text().partition("[[hooks.")[0])
            elif self.entries_in(path) > 1:
                document = json.loads(path.read_text())
                for listed in document["hooks"].values():
                    del listed[1:]
                self.write(path, document)
            else:
                path.unlink()

    def entries_in(self, path):
        return len(list(self.entries(json.loads(path.read_text()))))

    def restart_agent(self):
        for path in self.root.glob("Integrations/Agents/*-mcp-session.json"):
            agent = path.name.removesuffix("-mcp-session.json")
            self.record_session(agent)

    def record_session(self, agent, **members):
        session = {"clientID": agent + "-desk", "processID": os.getpid(),
                   "executablePath": os.path.realpath(sys.executable), "clientName": agent,
                   "initializedAt": 816920622.5, **members}
        self.agent_file(agent, "-mcp-session.json").write_text(json.dumps(session))

    def enable_codex_hooks(self, path, key, table):
        text = Path(path).read_text()
        self.write(Path(path), text.replace(f"[{table}]\n{key} = false\n", f"[{table}]\n"))

    def install_programs(self):
        for name in ("sorvane-pixels", "sorvane-pixels-extra"):
            if (self.programs / name).exists():
                shutil.copy(self.programs / name, self.doctor.parent / name)

    ACTIONS = {
        r"Start Sorvane, and see that Tandem Link is switched on\.": start,
        r"In Sorvane's settings, install the integration into (.*) again\.": reinstall,
        r"[Ii]n (.*), replace the command of the hook's entry by this one\.": replace_command,
        r"Merge this into (.*)\.": merge,
        r'In (.*), set "(.*)" of the hook\'s entry to (\d+) or more, or take it out\.': set_timeout,
        r"In (.*), move the hook's entry from (.*) to (.*)\.": move,
        r'In (.*), take "(.*)" out(?: of the hook\'s entry)?\.': take_out,
        r'In (.*), take "(.*)" out of the table "(.*)"\.': enable_codex_hooks,
        r"Start codex, type /hooks, choose UserPromptSubmit, and (?:trust|switch) .*\.": trust,
        r"Submit a prompt to the agent, and look again\.": submit,
        r"Start the agent in a project's folder and submit the prompt again\.": submit,
        r"See that the socket above is well, and submit the prompt again\.": submit,
        r"Copy the image again while Sorvane runs, and submit the prompt with that one\.": submit,
        r"Install Sorvane's helpers again: .*": install_programs,
        r"Keep the first of these entries and take the others out: (.*)\.": keep_first,
        r"End the agent and start it again\.": restart_agent,
    }
