"""Cases in which the application or its installation is broken: root, socket, manifest, programs, credential,
decoders."""

import hashlib
import os
import shutil
from pathlib import Path

from doctor_cases import broken
from test_command import Skipped


@broken("agents", agents=())
def nothing_installed(stage):
    stage.stop()
    shutil.rmtree(stage.root)


@broken("root", testing=False)
def no_root_outside_testing_mode(stage):
    stage.stop()
    shutil.rmtree(stage.root)


@broken("root", "warning", testing=False)
def variable_that_counts_in_tests_only(stage):
    stage.environment["SORVANE_APP_SUPPORT"] = "/somewhere"


@broken("root")
def no_root(stage):
    stage.stop()
    shutil.rmtree(stage.root)


@broken("socket")
def application_not_running(stage):
    stage.stop()
    (stage.root / "Runtime/sorvane.sock").unlink()


@broken("socket")
def application_died(stage):
    stage.stop()


@broken("socket")
def file_in_the_socket_s_place(stage):
    stage.stop()
    path = stage.root / "Runtime/sorvane.sock"
    path.unlink()
    path.write_text("")


@broken("socket")
def socket_open_to_others(stage):
    (stage.root / "Runtime/sorvane.sock").chmod(0o666)


@broken("socket")
def socket_of_another_user(stage):
    if os.geteuid() != 0:
        raise Skipped("only root can give a socket away")
    os.chown(stage.root / "Runtime/sorvane.sock", 12345, -1)


@broken("manifest")
def manifest_is_a_folder(stage):
    stage.agent_file("codex").unlink()
    stage.agent_file("codex").mkdir()


@broken("manifest")
def no_manifest(stage):
    stage.agent_file("codex").unlink()


@broken("manifest")
def manifest_lacks_a_key(stage):
    stage.change_manifest("codex", without=["clientID"])


@broken("manifest")
def manifest_of_another_agent(stage):
    shutil.copy(stage.agent_file("codex"), stage.agent_file("claude-code"))


@broken("manifest")
def manifest_is_no_json(stage):
    stage.agent_file("codex").write_text("{")


@broken("hook program")
def hook_program_gone(stage):
    stage.change_manifest("codex", hookExecutablePath="/opt/sorvane/sorvane-hook")


@broken("MCP program")
def mcp_program_gone(stage):
    stage.change_manifest("codex", mcpExecutablePath="/opt/sorvane/sorvane-mcp")


@broken("MCP program")
def mcp_program_not_executable(stage):
    stage.mcp.chmod(0o644)


@broken("credential")
def credential_gone(stage):
    stage.credential("codex").unlink()


@broken("credential")
def credential_of_another_installation(stage):
    stage.credential("codex").write_text("another one")


@broken("credential")
def credential_without_a_text(stage):
    stage.credential("codex").write_text("")
    stage.change_manifest("codex", credentialHash=hashlib.sha256(b"").hexdigest())


@broken("credential")
def credential_is_a_pipe(stage):
    stage.credential("codex").unlink()
    os.mkfifo(stage.credential("codex"))


@broken("credential", "warning")
def credential_readable_by_others(stage):
    stage.credential("codex").chmod(0o644)


@broken("decoder")
def decoders_gone(stage):
    stage.doctor = Path(shutil.copy(stage.doctor, stage.top / "sorvane-doctor"))


@broken("decoder")
def decoder_that_does_not_start(stage):
    stage.doctor = Path(shutil.copy(stage.doctor, stage.top / "sorvane-doctor"))
    stage.install_programs()
    stage.write(stage.top / "sorvane-pixels", "#!/bin/sh\nexit 127\n")


@broken("decoder")
def decoder_without_webp(stage):
    stage.doctor = Path(shutil.copy(stage.doctor, stage.top / "sorvane-doctor"))
    stage.install_programs()
    # It does not decode files of the RIFF format.
    stage.write(stage.top / "sorvane-pixels", f"#!/bin/sh\ncat >{stage.top}/picture\n"
                f"[ \"$(/usr/bin/head -c 4 {stage.top}/picture)\" != RIFF ] || exit 1\n"
                f"exec {stage.programs}/sorvane-pixels \"$@\" <{stage.top}/picture\n")
