#!/usr/bin/env python3
"""Plays a run against peers on the link that trickle, flood, stall, hang up, answer twice or answer nonsense, each a
few lines of Python, and looks at what the run does then and how long it takes."""

import json
import socket
import sys
import threading
import time

sys.dont_write_bytecode = True

from fault_stage import FaultStage
from report import main
from test_command import command_line

MAX_ANSWER = 1_048_576
DROP, PAUSE = 200, 0.01  # a trickle's bytes, and the seconds between them


def line_of(connection):
    text = b""
    while not text.endswith(b"\n"):
        text += connection.recv(65536)
    return text


class Peer:
    """Takes one connection after the other in a thread, reads the request and plays a script with the right answer."""

    def __init__(self, path, script, reads=True):
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(path))
        self.listener.listen()
        self.script, self.reads, self.path = script, reads, path
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                try:
                    request = json.loads(line_of(connection)) if self.reads else {}
                    answer = {"version": 1, "requestID": request.get("requestID"), "ok": True, "matched": True,
                              "images": [{"relativePath": "a.png", "uti": "public.png"}]}
                    self.script(connection, json.dumps(answer).encode() + b"\n", self.ended)
                except OSError:
                    pass  # the hook has gone

    def stop(self):
        self.ended.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()
        self.path.unlink()


def trickle(connection, answer, _):
    for byte in answer:
        connection.sendall(bytes([byte]))
        time.sleep(PAUSE)


def trickle_blanks(connection, answer, ended):
    """Never ends by itself: the hook takes so many bytes only."""
    while not ended.is_set():
        connection.sendall(b" " * (MAX_ANSWER // DROP))
        time.sleep(PAUSE)


def flood(connection, answer, ended):
    while not ended.is_set():
        connection.sendall(b"x" * 65536)


def flood_lines(connection, answer, ended):
    while not ended.is_set():
        connection.sendall(answer * 100)


def stall(connection, answer, ended):
    ended.wait()


def stall_halfway(connection, answer, ended):
    connection.sendall(answer[:20])
    ended.wait()


def answer_twice_at_once(connection, answer, _):
    connection.sendall(answer * 2)


def answer_twice(connection, answer, _):
    connection.sendall(answer)
    time.sleep(0.5)  # the first has been read by then
    connection.sendall(answer)


def reset(connection, *_):
    """Closes at once: while the request is unread, the hook's end gets an error."""


def half_closed(connection, answer, ended):
    connection.shutdown(socket.SHUT_WR)
    ended.wait()


def sends(change):
    return lambda connection, answer, _: connection.sendall(change(answer))


# What the peer does, whether it reads the request; what the run prints: an answer or a line; its seconds.
PEERS = {
    "trickles": (trickle, True, "answer", 12),
    "trickles blanks": (trickle_blanks, True, "line", 12),
    "floods": (flood, True, "line", 3),
    "floods with lines": (flood_lines, True, "line", 3),
    "stalls": (stall, True, "line", 4),
    "stalls in its answer": (stall_halfway, True, "line", 4),
    "never reads": (stall, False, "line", 4),
    "answers twice at once": (answer_twice_at_once, True, "line", 3),
    "answers twice": (answer_twice, True, "answer", 3),
    "hangs up": (reset, True, "line", 3),
    "resets": (reset, False, "line", 3),
    "closes its half": (half_closed, True, "line", 3),
    "answers unasked": (sends(lambda answer: answer), False, "line", 3),
    "sends a line feed": (sends(lambda answer: b"\n"), True, "line", 3),
    "sends zeros": (sends(lambda answer: bytes(5000) + b"\n"), True, "line", 3),
    "sends no UTF-8": (sends(lambda answer: answer.replace(b"a.png", b"\xff\xfe")), True, "line", 3),
    "nests deeply": (sends(lambda answer: b"[" * 500_000 + b"\n"), True, "line", 3),
    "sends a long number": (sends(lambda answer: b"9" * 500_000 + b"\n"), True, "line", 3),
    "says it twice": (sends(lambda answer: answer.replace(b'{"version', b'{"ok":false,"version')), True, "answer", 3),
    "sends lines in its path": (sends(lambda answer: answer.replace(b"a.png", b"a\\n\\u0000.png")), True, "answer", 3),
    "refuses twice": (sends(lambda answer: answer.replace(b'"ok": true', b'"ok":1,"ok":false,"error":"No."')), True,
                      "line", 3),
}


def play(options, report):
    with FaultStage("reference", options.programs, peer=False) as stage:
        for name, (script, reads, end, seconds) in PEERS.items():
            peer = Peer(stage.socket, script, reads)
            result = stage.play()
            peer.stop()
            title = f"a peer that {name}"
            report.add(title, stage, result)
            got = result.end()
            if got != end:
                report.found.append(f"{title}: {got} instead of {end}: {result.output!r} {result.error!r}")
            if result.seconds > seconds:
                report.found.append(f"{title}: took {result.seconds:.1f} s instead of {seconds} at most")
            print(f"{name:<24}{got:<8}{result.seconds:6.2f} s  {result.error.decode(errors='replace')[:80].strip()}")


if __name__ == "__main__":
    main(play, command_line(__doc__))
