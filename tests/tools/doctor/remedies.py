"""Follows the remedies that the doctor prints, each recognised by its words, and does nothing else."""

import json
import re
import shutil
import subprocess
from pathlib import Path

from doctor_stage import DoctorStage, with_command


class MendedStage(DoctorStage):
    """A stage whose user follows the remedies."""

    def follow(self, finding):
        """Does what a finding says is to be done."""
        remedy = finding["remedy"].removeprefix("If the hook does not run: ")
        for pattern, action in self.ACTIONS.items():
            found = re.fullmatch(pattern, remedy)
            if found:
                return action(self, *found.groups(), **({"entry": finding["entry"]} if "entry" in finding else {}))
        if "command" not in finding:
            raise AssertionError(f"nobody knows how to do this: {finding}")
        return subprocess.run(["/bin/sh", "-c", finding["command"]], check=True, env=self.environment)

    def unset(self):
        del self.environment["SORVANE_APP_SUPPORT"]

    def reinstall(self, name):
        names = {"Claude Code": "claude-code", "Codex": "codex", "Cursor": "cursor"}
        self.install(names.get(name, name))

    def replace_command(self, path, entry):
        self.edit(path, lambda found: found.update(json.loads("{" + entry + "}")))

    def edit(self, path, change):
        document = json.loads(Path(path).read_text())
        for entry in self.entries(document):
            change(entry)
        self.write(Path(path), document)

    def replace_line(self, path, entry):
        path = Path(path)
        prefix = "const command = "
        assert entry.startswith(prefix)
        path.write_text(with_command(path.read_text(), json.loads(entry.removeprefix(prefix))))

    def write_new(self, path, entry):
        assert not Path(path).exists()
        self.write(Path(path), entry)

    def rewrite(self, _agent, entry):
        for path in self.configuration_files():
            try:
                if path.suffix == ".json" and not isinstance(json.loads(path.read_text())["hooks"], dict):
                    self.write(path, entry)
            except ValueError:
                self.write(path, entry)

    def merge(self, path, entry):
        path = Path(path)
        document = json.loads(path.read_text())
        wanted = json.loads(entry)
        for event, groups in wanted.pop("hooks").items():
            document.setdefault("hooks", {}).setdefault(event, []).extend(groups)
        document.update(wanted)
        self.write(path, document)

    def set_timeout(self, path, key, value):
        self.edit(path, lambda entry: entry.update({key: int(value)}))

    def move(self, path, old, new):
        document = json.loads(Path(path).read_text())
        for group in list(document["hooks"][old]):
            if next(self.entries({"hooks": {"": [group]}}), None):
                document["hooks"][old].remove(group)
                document["hooks"].setdefault(new, []).append(group)
        self.write(Path(path), document)

    def take_out(self, path, key):
        def change(entry):
            entry.pop(key, None)
        document = json.loads(Path(path).read_text())
        document.pop(key, None)
        self.write(Path(path), document)
        self.edit(path, change)

    def keep_first(self, locations):
        for path in dict.fromkeys(re.findall(r"(/\S+) \(\w+\)", locations)[1:]):
            path = Path(path)
            if path.suffix == ".toml":
                path.write_text(path.read_text().partition("[[hooks.")[0])
            elif self.entries_in(path) > 1:
                document = json.loads(path.read_text())
                for listed in document["hooks"].values():
                    mine = [group for group in listed if next(self.entries({"hooks": {"": [group]}}), None)]
                    for group in mine[1:]:
                        listed.remove(group)
                self.write(path, document)
            else:
                path.unlink()

    def entries_in(self, path):
        return len(list(self.entries(json.loads(path.read_text()))))

    def restart_agent(self):
        for path in self.root.glob("Integrations/Agents/*-mcp-session.json"):
            agent = path.name.removesuffix("-mcp-session.json")
            self.record_session(agent)

    def enable_codex_hooks(self, path, key, table):
        text = Path(path).read_text()
        self.write(Path(path), text.replace(f"[{table}]\n{key} = false\n", f"[{table}]\n"))

    def install_programs(self):
        for name in ("sorvane-pixels", "sorvane-pixels-extra"):
            if (self.programs / name).exists():
                shutil.copy(self.programs / name, self.doctor.parent / name)

    def attach(self):
        picture = self.project / "red.ppm"
        picture.write_bytes(b"P6 1 1 255\n\xff\0\0")
        self.submit(attachments=[str(picture)])

    def enter_by_the_page(self):
        self.configure("qwen")

    def install_first(self):
        self.install("claude-code")
        self.configure("claude-code")
        self.start()
        self.submit()

    ACTIONS = {
        r"Start Sorvane, and see that Tandem Link is switched on\.": DoctorStage.start,
        r"Start Sorvane once: it makes the folder\.": DoctorStage.start,
        r"Quit Sorvane if it still runs, start it, and see that Tandem Link is switched on\.": DoctorStage.start,
        r"Let Sorvane run as the same user as the agent\.": DoctorStage.start,
        r"Take SORVANE_APP_SUPPORT out of the environment, or .*": unset,
        r"In Sorvane's settings, install the integration into your agent\.": install_first,
        r"In Sorvane's settings, install the integration into (.*?)(?: again)?\.": reinstall,
        r"[Ii]n (.*), replace the command of the hook's entry by this one\.": replace_command,
        r'[Ii]n (.*), replace the line that begins with "const command =" by this one\.': replace_line,
        r"Merge this into (.*), and keep what is there\.": merge,
        r"Write this into a new file (.*)\.": write_new,
        r"Repair that file, unless (.*) reads it as it is, and see that it holds the hook's entry\.": rewrite,
        r'In (.*), set "(.*)" of the hook\'s entry to (\d+) or more, or take it out\.': set_timeout,
        r"In (.*), move the hook's entry from (.*) to (.*)\.": move,
        r'In (.*), take "(.*)" out(?: of the hook\'s entry)?\.': take_out,
        r'In (.*), take "(.*)" out of the table "(.*)"\.': enable_codex_hooks,
        r"Start codex, type /hooks, choose UserPromptSubmit, and (?:trust|switch) .*\.": DoctorStage.trust,
        r"Submit a prompt to the agent, and look again\.": DoctorStage.submit,
        r"Start the agent in a project's folder and submit the prompt again\.": DoctorStage.submit,
        r"When the socket above is ok, submit the prompt again\.": DoctorStage.submit,
        r"Copy the image again while Sorvane runs, and submit the prompt with that one\.": DoctorStage.submit,
        r"Attach the image once more\. If this line stays: .*": attach,
        r"Install sorvane-hook again.*": install_programs,
        r"Install the libraries of these formats, or sorvane-hook again\.": install_programs,
        r"Keep the first of these entries and take the others out: (.*)\.": keep_first,
        r"End the agent and start it again\.": restart_agent,
        r"Look up your agent's entry in share/doc/sorvane-hook/agents\.md, .*": enter_by_the_page,
    }
