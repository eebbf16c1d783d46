"""Cases that differ in what the hook and the MCP server have recorded."""

from doctor_cases import broken
from doctor_stage import HASH


@broken("last prompt", "not known")
def no_prompt_yet(stage):
    stage.agent_file("codex", "-hook-state.json").unlink()


@broken("last prompt", "not known")
def prompt_of_an_earlier_installation(stage):
    path = stage.agent_file("codex", "-hook-state.json")
    path.write_text(path.read_text().replace("codex-desk", "codex-old"))


@broken("last prompt", "not known")
def record_of_the_prompt_is_no_json(stage):
    stage.agent_file("codex", "-hook-state.json").write_text("{")


@broken("last prompt", "not known")
def folder_in_the_record_s_place(stage):
    stage.agent_file("codex", "-hook-state.json").unlink()
    stage.agent_file("codex", "-hook-state.json").mkdir()


@broken("last prompt", "warning", agents=("cursor",))
def attachments_that_are_not_named(stage):
    stage.submit(attachments=[{"file_path": "/nowhere/a.png"}])


@broken("last prompt")
def prompt_while_sorvane_was_away(stage):
    stage.stop()
    stage.submit(f"sorvane://image/{HASH}")
    stage.start()


@broken("last prompt")
def image_that_sorvane_does_not_hold(stage):
    stage.submit(f"sorvane://image/{HASH}")


@broken("last prompt")
def agent_without_a_folder(stage):
    stage.submit(f"sorvane://image/{HASH}", cwd=None)


@broken(None)
def session_running(stage):
    stage.record_session("codex")


@broken(None)
def session_gone(stage):
    stage.record_session("codex", processID=2**22 + 1)


@broken(None)
def session_s_number_is_another_program_s(stage):
    stage.record_session("codex", executablePath="/opt/sorvane/sorvane-mcp")


@broken("MCP session", "warning")
def session_of_an_earlier_installation(stage):
    stage.record_session("codex", clientID="codex-old")


@broken("MCP session", "not known")
def record_of_the_session_is_no_json(stage):
    stage.agent_file("codex", "-mcp-session.json").write_text("[]")
