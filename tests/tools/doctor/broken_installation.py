"""Worlds in which the application or its installation is broken: root, socket, manifest, programs, credential,
decoders."""

import hashlib
import os
import shutil
from pathlib import Path

from test_command import Skipped
from worlds import broken


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
