"""What a run must have done, and not done, by the expectations of its case."""

import difflib
import json
import os
import re

from stage import BadCase, USUAL_CLIENT, USUAL_HASH

REFERENCE_EPOCH = 978307200  # 2001-01-01 00:00:00 UTC
OBSERVATION_KEYS = ["clientID", "observedAt", "attachmentCount", "referenceCount", "outcome"]


class Unfulfilled(Exception):
    """The run was not as expected."""


def check(condition, message):
    if not condition:
        raise Unfulfilled(message)


def compare(name, expected, actual):
    if expected == actual:
        return
    lines = [text.decode(errors="backslashreplace").splitlines(keepends=True) for text in (expected, actual)]
    diff = "\n".join("  " + line[:2000].rstrip("\n") for line in difflib.unified_diff(*lines, "expected", "actual"))
    # Blanks and missing line ends do not show in the lines.
    raw = f"\n  expected {expected[:2000]!r}\n  actual   {actual[:2000]!r}" if expected.count(b"\n") < 2 else ""
    raise Unfulfilled(f"{name} differs:\n{diff}{raw}")


def pretty(value):
    return json.dumps(value, indent=2, sort_keys=True, ensure_ascii=False).encode(errors="surrogatepass") + b"\n"


def compact(value):
    """A JSON value as every text of ours is written: without blanks, slashes escaped."""
    text = json.dumps(value, separators=(",", ":"), ensure_ascii=False)
    return text.replace("/", "\\/").encode()


def parsed(name, text):
    try:
        return json.loads(text)
    except ValueError as error:
        raise Unfulfilled(f"{name} is not JSON: {error}: {text!r}") from None


def check_compact(name, text):
    value = parsed(name, text)
    check(len(text) == len(compact(value)) and not re.search(rb"(?<!\\)/", text),
          f"{name} is not compact JSON with escaped slashes: {text!r}")
    return value


class Verdict:
    """Judges the runs of one case. `case` gives its files with `text` and its words with `word`."""

    def __init__(self, case):
        self.case = case
        self.stage = case.stage
        self.observation_file = self.stage.agents / (case.agent.decode() + "-hook-state.json")

    def expects(self, name):
        return name in self.case.names

    def check_untorn(self):
        """Called while runs write: the observation is whole at every moment."""
        try:
            text = self.observation_file.read_bytes()
        except FileNotFoundError:
            return
        try:
            json.loads(text)
        except ValueError:
            raise Unfulfilled(f"a torn observation was seen: {text[:200]!r}") from None

    def check_streams(self, output, error, status):
        check(status == 0, f"status {status} instead of 0; stderr: {error.decode(errors='backslashreplace')}")
        if self.expects("stderr.pattern"):
            pattern = self.case.text("stderr.pattern").rstrip(b"\n")
            check(re.fullmatch(pattern, error.rstrip(b"\n")) and error.endswith(b"\n"),
                  f"stderr does not match:\n  pattern {pattern!r}\n  actual  {error!r}")
            check(error.count(b"\n") == 1, f"stderr holds more than one line: {error!r}")
        else:
            compare("stderr", self.case.text("stderr") or b"", error)
        if self.expects("stdout.json"):
            self.check_envelope(json.loads(self.case.text("stdout.json")), output)
        elif self.expects("context"):
            block = self.case.text("context").decode().removesuffix("\n")
            self.check_envelope(
                {"hookSpecificOutput": {"hookEventName": "UserPromptSubmit", "additionalContext": block}}, output)
        else:
            compare("stdout", self.case.text("stdout") or b"", output)

    def check_envelope(self, expected, output):
        check(output.count(b"\n") == 1 and output.endswith(b"\n"), f"stdout is not exactly one line: {output!r}")
        compare("stdout", pretty(expected), pretty(parsed("stdout", output)))
        check_compact("stdout", output[:-1])

    def check_observation(self, began, ended):
        if not self.expects("observation"):
            return  # that there is none is for check_changes to say
        expected = {"clientID": USUAL_CLIENT, "attachmentCount": 0, "referenceCount": 0}
        expected.update(json.loads(self.case.text("observation")))
        check(self.observation_file.is_file(), "there is no observation")
        text = self.observation_file.read_bytes()
        actual = parsed("the observation", text)
        moment = actual.pop("observedAt", None)
        compare("the observation", pretty(expected), pretty(actual))
        check(type(moment) in (int, float) and began - 1 <= moment + REFERENCE_EPOCH <= ended + 1,
              f"observedAt is not the moment of the run in seconds since 2001: {moment!r}")
        check_compact("the observation", re.sub(rb'("observedAt":)[-+.e0-9]+', rb"\g<1>0", text))
        keys = list(json.loads(text))
        check(keys == OBSERVATION_KEYS, f"the members of the observation stand in another order: {keys}")

    def check_requests(self):
        log = self.stage.scratch / "requests"
        requests = log.read_bytes().splitlines() if log.exists() else []
        if self.case.text("request") == b"":
            compare("the requests", b"", b"\n".join(requests))
            return
        if not self.expects("request") and self.expects("event"):
            raise BadCase("an event of its own and an application: the case must say what request arrives")
        count = int(self.case.word("simultaneous") or 1)
        check(len(requests) == count, f"{len(requests)} requests arrived instead of {count}: {requests!r}"[:4000])
        identifiers = [self.check_request(request) for request in requests]
        check(len(set(identifiers)) == count, "requests share their identifier")

    def check_request(self, line):
        expected = {
            "version": 1, "operation": "resolve", "agent": self.case.agent.decode(), "clientID": USUAL_CLIENT,
            "credential": self.case.token.decode(), "workspaceRoot": str(self.stage.workspace),
            "attachments": [{"assetID": USUAL_HASH}],
        }
        expected.update(json.loads(self.case.text("request") or b"{}"))
        actual = check_compact("the request", line)
        identifier = actual.pop("requestID", None)
        compare("the request", pretty(expected), pretty(actual))
        check(type(actual["version"]) is int, "the request's version is not written as an integer")
        check(isinstance(identifier, str) and re.fullmatch(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", identifier),
              f"requestID is not a lower-case UUID: {identifier!r}")
        return identifier

    def check_changes(self, before, after):
        """By default a run changes nothing but its observation, which only the owner may read."""
        expected = [os.fsdecode(line) for line in (self.case.text("changes") or b"").splitlines()]
        if not self.expects("changes") and self.expects("observation"):
            name = self.stage.shown(self.observation_file)
            expected = [("~" if name in before else "+") + " 0600 " + name]
        actual = [f"- {name}" for name in before.keys() - after.keys()]
        for name in after:
            if before.get(name) != after[name]:
                kind = "~" if name in before else "+"
                actual.append(f"{kind} {after[name][1]:04o} {name}")
        compare("what the run changed", *("\n".join(sorted(lines)).encode() for lines in (expected, actual)))

    def check_secret(self, output, error, before, after):
        """The credential shows nowhere but where it was. A short one may turn up by chance."""
        if len(self.case.token) < 8:
            return
        shown = {"stdout": output, "stderr": error}
        shown.update({name: thing[2] for name, thing in after.items()
                      if name not in before or before[name][2] != thing[2]})
        for name, text in shown.items():
            check(self.case.token not in text, f"{name} shows the credential")

    def check_time(self, seconds):
        if "seconds" in self.case.process:
            least, most = map(float, self.case.process["seconds"])
            check(least <= seconds <= most, f"the run took {seconds:.2f} seconds, not {least} to {most}")
