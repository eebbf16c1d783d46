"""The stage of one case: a private directory with an application-support root, an enrolled agent and a workspace."""

import hashlib
import json
import os
import re
import shlex
import shutil
import socket
import stat
import subprocess
import sys
import tempfile
from pathlib import Path

import pictures
from test_command import Skipped

USUAL_HASH = "0123456789abcdef" * 4
USUAL_CLIENT = "client-1"

# What an account's home directory holds; testing mode takes the root from the environment instead.
ROOT_BELOW_HOME = "Library/Application Support/Sorvane"

SOCKET_BELOW_ROOT = "Runtime/sorvane.sock"
SOCKET_PATH_LIMIT = 104 if sys.platform == "darwin" else 108  # sizeof sun_path, the NUL included


class BadCase(Exception):
    """The case itself is wrong: an unknown file, word or placeholder."""


def size_of(text):
    width, height = text.split("x")
    return int(width), int(height)


class Stage:
    def __init__(self, case, agent, process):
        # Socket paths are short, so the stage stands right under /tmp.
        self.top = Path(tempfile.mkdtemp(prefix="sv-", dir="/tmp"))
        self.case = case
        self.agent = agent
        self.home = self.top / "home"
        self.workspace = self.top / "workspace"
        self.scratch = self.top / "scratch"
        self.root = self.top / "root"
        if "account-home" in process:
            self.root = self.home / ROOT_BELOW_HOME
        if "socket-path" in process:
            self.root = self.root_for_socket_path(*process["socket-path"])
        self.credential = self.root / "Credentials" / agent.decode()
        self.deaf = None
        for directory in (self.workspace, self.scratch, self.agents, self.credential.parent, self.socket.parent):
            directory.mkdir(parents=True)

    @property
    def agents(self):
        return self.root / "Integrations/Agents"

    @property
    def socket(self):
        return self.root / SOCKET_BELOW_ROOT

    def root_for_socket_path(self, length, filler="r"):
        """A root so deep that the socket's path, with its NUL, takes all the room there is, or a byte more."""
        lengths = {"longest": SOCKET_PATH_LIMIT - 1, "too-long": SOCKET_PATH_LIMIT}
        if length not in lengths:
            raise BadCase(f"socket-path: {length!r}")
        room = lengths[length] - len(os.fsencode(self.top)) - len("/" + "/" + SOCKET_BELOW_ROOT)
        width = len(filler.encode())
        return self.top / (filler * (room // width) + "r" * (room % width))

    def remove(self):
        if self.deaf:
            self.deaf.close()
        for directory, _, _ in os.walk(self.top):
            os.chmod(directory, 0o700)
        shutil.rmtree(self.top)

    # Texts

    def expand(self, text):
        """The bytes of a case's file with its placeholders replaced."""
        for name, value in {
            b"ROOT": self.root, b"WORKSPACE": self.workspace, b"HOME": self.home, b"CASE": self.case,
            b"CREDENTIAL": self.credential, b"AGENT": self.agent, b"CLIENT": USUAL_CLIENT, b"HASH": USUAL_HASH,
        }.items():
            text = text.replace(b"@" + name + b"@", value if isinstance(value, bytes) else os.fsencode(value))
        text = re.sub(rb"@BYTES\(([0-9a-f ]*)\)@", lambda m: bytes.fromhex(m[1].decode()), text)
        text = re.sub(rb"@SHA256(?::(\d+))?\((.*?)\)@", lambda m: self.sha256(m[2])[: int(m[1] or 64)], text)
        text = re.sub(rb"@PIXELS\(([0-9x]+),([0-9a-f]+)\)@", self.pixels, text)
        text = re.sub(rb"@\{(\d+) \* (.*?)\}@", lambda m: int(m[1]) * m[2], text, flags=re.DOTALL)
        unknown = re.search(rb"@(?!REQUEST_ID@)[A-Z0-9_]+(\([^)]*\))?@|@\{", text)
        if unknown:
            raise BadCase(f"placeholder {unknown[0].decode()} is unknown")
        return text

    def sha256(self, path):
        return hashlib.sha256(Path(os.fsdecode(path)).read_bytes()).hexdigest().encode()

    def pixels(self, match):
        return pictures.pixel_hash(size_of(match[1].decode()), match[2].decode()).encode()

    # The agent

    def enrol(self, token, changes, left_out):
        """Writes credential and manifest as the application does when it installs the agent's integration."""
        self.credential.write_bytes(token)
        self.credential.chmod(0o600)
        manifest = {
            "agent": self.agent.decode(),
            "installedAt": 800000000.5,
            "clientID": USUAL_CLIENT,
            "credentialHash": hashlib.sha256(token).hexdigest(),
            "credentialPath": str(self.credential),
            "mcpServerName": "sorvane",
            "mcpExecutablePath": "/opt/sorvane/sorvane-mcp",
            "hookExecutablePath": "/opt/sorvane/sorvane-hook",
            "managedEntries": ["mcp_servers.sorvane"],
            "backupPaths": [],
        }
        manifest.update(changes)
        for key in left_out:
            del manifest[key]
        path = self.agents / (self.agent.decode() + ".json")
        path.write_text(json.dumps(manifest))
        path.chmod(0o600)

    # Files around the run

    def lay(self, source, target):
        if source.is_dir():
            shutil.copytree(source, target, dirs_exist_ok=True, copy_function=shutil.copyfile)

    def set_up(self, line):
        """One line of the file `set-up`: a verb and its words, in which blanks are quoted as in a shell."""
        verb, *words = [os.fsdecode(self.expand(os.fsencode(word))) for word in shlex.split(line)]
        verbs = {
            "directory": lambda path: Path(path).mkdir(parents=True),
            "fifo": os.mkfifo,
            "dead-socket": self.dead_socket,
            "deaf-socket": self.deaf_socket,
            "link": lambda path, target: os.symlink(target, path),
            "mode": lambda mode, path: os.chmod(path, int(mode, 8)),
            "remove": self.take_away,
            "move": os.rename,
            "png": lambda path, size, pixels, text=None: Path(path).write_bytes(
                pictures.png(size_of(size), pixels, text)),
            "black-png": lambda path, size: Path(path).write_bytes(pictures.black_png(size_of(size))),
            "grey-jpeg": lambda path, size, orientation: Path(path).write_bytes(
                pictures.grey_jpeg(size_of(size), int(orientation))),
            "cut": lambda path, length: os.truncate(path, int(length)),
        }
        if verb not in verbs:
            raise BadCase(f"set-up: the verb {verb!r} is unknown")
        try:
            verbs[verb](*words)
        except TypeError as error:
            raise BadCase(f"set-up: {line}: {error}") from error

    def dead_socket(self, path):
        with socket.socket(socket.AF_UNIX) as nobody:
            nobody.bind(path)

    def deaf_socket(self, path):
        """Connections are queued by the system and never accepted."""
        self.deaf = socket.socket(socket.AF_UNIX)
        self.deaf.bind(path)
        self.deaf.listen()

    def take_away(self, path):
        shutil.rmtree(path) if Path(path).is_dir() else os.unlink(path)

    def snapshot(self):
        """Everything on the stage: its shown name, mode and content."""
        things = {}
        for directory, names, files in os.walk(self.top):
            if Path(directory) == self.top:
                names.remove("scratch")
            for name in names + files:
                path = Path(directory) / name
                things[self.shown(path)] = self.thing(path)
        return things

    def shown(self, path):
        if path.is_relative_to(self.root):
            name = Path("root") / path.relative_to(self.root)
        else:
            name = path.relative_to(self.top)
        return str(name) + ("/" if path.is_dir() and not path.is_symlink() else "")

    def thing(self, path):
        status = path.lstat()
        content = b""
        if stat.S_ISREG(status.st_mode):
            content = path.read_bytes()
        elif stat.S_ISLNK(status.st_mode):
            content = os.fsencode(os.readlink(path))
        return stat.S_IFMT(status.st_mode), stat.S_IMODE(status.st_mode), content


def account_at(stage):
    """The environment in which the user's account has its home on the stage, whatever the real one is."""
    libraries = subprocess.run(["/sbin/ldconfig", "-p"], capture_output=True, check=False).stdout if \
        os.path.exists("/sbin/ldconfig") else b""
    if b"libnss_wrapper.so" not in libraries:
        raise Skipped("libnss_wrapper is needed to give the account another home")
    users, groups = stage.scratch / "passwd", stage.scratch / "group"
    users.write_text(f"somebody:x:{os.geteuid()}:{os.getegid()}::{stage.home}:/bin/sh\n")
    groups.write_text(f"somebody:x:{os.getegid()}:\n")
    return {
        b"LD_PRELOAD": b"libnss_wrapper.so",
        b"NSS_WRAPPER_PASSWD": os.fsencode(users),
        b"NSS_WRAPPER_GROUP": os.fsencode(groups),
    }
