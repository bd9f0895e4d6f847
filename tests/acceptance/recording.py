# SPDX-License-Identifier: Apache-2.0
"""Records the exchanges of a scenario with the real server as a fixture for the stand-in's tests.

`tests/devkit/hawkbit_server/test_server_replay.py` replays the files. A fixture is a list, a line for each
element and in order of time, of the operator's steps, of every exchange of the scenario's gateways, and of
the final records of actions and targets. `{server}` stands for scheme and authority; the token that the proxy
adds is left out. An artifact's content is stored with the module, its downloads have only the checksum.

The following are not recorded: scenarios that stop the server or the proxy or change the server for all (the
stand-in keeps its records in memory, and a proxy's own answers are not the server's), those with a replaced artifact
or without the proxy, rollouts (their scheduler has its own timing), artifacts longer than LONGEST_ARTIFACT, and
scenarios whose file would be longer than LONGEST_FIXTURE. Those in LIKE_ANOTHER are left out because another one
shows the same answers.
"""
from __future__ import annotations

import base64
import hashlib
import json
import math
import threading
import time
from pathlib import Path
from typing import Any

import driver
from hawkbit_server import request as requests
from relay import Passed

FIXTURES = Path(__file__).resolve().parents[1] / "devkit/hawkbit_server/recorded"
LONGEST_ARTIFACT = 64 * 1024
LONGEST_FIXTURE = 80 * 1024
LIKE_ANOTHER = (
    "accepted-on-the-bus-it-starts-whatever-it-waits-for-window-open",
    "accepted-on-the-bus-it-starts-whatever-it-waits-for-window-shut",
    "cancelled-while-the-gateway-installs-the-last-module",
    "failing-script-with-a-long-output-is-recorded-too",
    "firmware-that-comes-back-with-another-version-is-one-failure",
    "force-quit-between-two-polls-refuses-the-next-report",
    "forced-by-the-operator-it-starts-whatever-it-waits-for-window-open",
    "forced-by-the-operator-it-starts-whatever-it-waits-for-window-shut",
    "in-the-open-window-a-delay-is-drawn-and-kept",
    "it-starts-when-the-user-wants-automatic-updates-after-all",
    "nothing-but-the-interface-of-devices-can-be-reached",
    "replaced-while-its-replacement-is-taken-back",
    "replaced-while-the-gateway-waits",
    "second-deployment-follows-the-first",
    "unsafe-names-are-refused-before-the-download",
    "version-that-is-recorded-is-not-fetched-again",
)
REQUEST_HEADERS = ("accept", "content-type", "if-match", "if-none-match", "if-range", "range")
RESPONSE_HEADERS = ("accept-ranges", "content-disposition", "content-length", "content-range", "content-type")


class NotRecorded(Exception):
    """The scenario cannot be replayed; the text says why."""


class Recording:
    """The steps and exchanges of one scenario. `poll` is the server's polling time at its beginning."""

    def __init__(self, scenario: str, poll: str) -> None:
        self.scenario = scenario
        self.lock = threading.RLock()
        self.targets: dict[str, None] = {}
        self.actions: list[int] = []
        self.began = time.time()
        self._steps: list[dict[str, Any]] = [{"t": 0, "operator": "polling time", "value": poll}]
        self._obstacle: str | None = None

    def time(self, moment: float | None = None) -> float:
        """Seconds since the start."""
        return round((time.time() if moment is None else moment) - self.began, 3)

    def step(self, what: str, **members: Any) -> None:
        self._steps.append({"t": self.time(), "operator": what, **members})

    def refuse(self, why: str) -> None:
        """Stops recording."""
        self._obstacle = self._obstacle or why

    def exchange(self, passed: Passed) -> None:
        """Records an exchange that the relay has seen."""
        target = requests.find_route(passed.path.partition("?")[0]).target
        if target is not None and target not in self.targets:
            self.targets[target] = None
        if len(passed.response_body) > LONGEST_ARTIFACT:
            self.refuse(f"an answer of {len(passed.response_body)} bytes")
            return
        self._steps.append({"t": self.time(passed.began),
                            "request": _request(passed), "response": _response(passed)})

    def write(self, server: driver.Server, directory: Path = FIXTURES) -> Path:
        """Adds the server's records and writes the file. Raises NotRecorded when it cannot be replayed."""
        if self._obstacle is not None:
            raise NotRecorded(self._obstacle)
        if not any("request" in step for step in self._steps):
            raise NotRecorded("the server was asked nothing")
        if self.scenario in LIKE_ANOTHER:
            raise NotRecorded("another one is like it")
        with self.lock:
            steps = [*self._steps, *self._records(server)]
        # Escaped, since the server cuts texts inside characters.
        text = "[\n" + ",\n".join(json.dumps(step, separators=(",", ":")) for step in steps) + "\n]\n"
        if len(text.encode()) > LONGEST_FIXTURE:
            raise NotRecorded(f"{len(text.encode())} bytes are more than {LONGEST_FIXTURE}")
        directory.mkdir(exist_ok=True)
        path = directory / f"{self.scenario}.json"
        path.write_text(text, encoding="utf-8")
        return path

    def _records(self, server: driver.Server) -> list[dict[str, Any]]:
        records = []
        for number in self.actions:
            action = server.action(number)
            entries = [{"type": each.type, "messages": list(each.messages)} for each in action.entries]
            status = "pending" if action.active else "finished"
            records.append({"record": {"action": str(number), "status": status,
                                       "detailStatus": action.status, "entries": entries}})
        for name in self.targets:
            target = server.target(name)
            if target is not None:
                records.append({"target": name, "attributes": dict(sorted(target.attributes.items())),
                                "updateStatus": target.update_status})
        return records


def _request(passed: Passed) -> dict[str, Any]:
    request: dict[str, Any] = {"method": passed.method, "path": passed.path,
                               "headers": {name: passed.headers[name] for name in REQUEST_HEADERS
                                           if passed.headers.get(name, "*/*") != "*/*"},
                               "body": _body(passed.body, passed.headers.get("content-type", ""))}
    if "authorization" not in passed.headers:
        request["authorized"] = False
    return request


def _response(passed: Passed) -> dict[str, Any]:
    """Without the ETag of a JSON document, which depends on the authority."""
    kind = passed.response_headers.get("content-type", "")
    is_json = "json" in kind
    names = [name for name in RESPONSE_HEADERS if name in passed.response_headers
             and not (is_json and name == "content-length")]
    if not is_json and "etag" in passed.response_headers:
        names.append("etag")
    body = _body(passed.response_body, kind)
    origin = f"{passed.headers.get('x-forwarded-proto', 'http')}://" \
             f"{passed.headers.get('x-forwarded-host', passed.headers.get('host'))}"
    return {"status": passed.status, "headers": {name: passed.response_headers[name] for name in names},
            "body": json.loads(json.dumps(body).replace(origin, "{server}"))}


def _body(raw: bytes, content_type: str) -> Any:
    if not raw:
        return None
    if content_type.startswith("application/octet-stream"):
        return {"sha256": hashlib.sha256(raw).hexdigest()}
    return json.loads(raw) if "json" in content_type else raw.decode()


def _content(raw: bytes) -> Any:
    try:
        return raw.decode()
    except UnicodeDecodeError:
        return {"base64": base64.b64encode(raw).decode()}


class RecordingServer(driver.Server):
    """Records the operator's steps on their way to another server.

    A step holds the recording's lock, so that each exchange is recorded either before or after it.
    """

    def __init__(self, server: driver.Server, recording: Recording) -> None:
        self._server = server
        self.recording = recording
        self.access = server.access
        self.has_proxy = server.has_proxy
        self.is_real = server.is_real
        self.plain_port = server.plain_port

    def add_module(self, type, name, version, artifacts):
        if sum(map(len, artifacts.values())) > LONGEST_ARTIFACT:
            self.recording.refuse("long artifacts")
        with self.recording.lock:
            module = self._server.add_module(type, name, version, artifacts)
            self.recording.step("add module", id=module.id, type=module.type, name=module.name,
                                version=module.version,
                                artifacts={file: _content(content) for file, content in artifacts.items()})
        return module

    def replace_artifact(self, module, filename, content):
        self.recording.refuse("a replaced artifact")
        self._server.replace_artifact(module, filename, content)

    def token_of(self, target):
        self.recording.refuse("a gateway that comes without the proxy")
        return self._server.token_of(target)

    def assign(self, target, modules, type="forced", *, force_time=None, window_opens_in=None):
        chosen = list(modules)
        members: dict[str, Any] = {}
        with self.recording.lock:
            if force_time is not None:
                members["force_time"] = self.recording.time(force_time)
            if window_opens_in is not None:
                # Windows open at whole seconds, and the steps before the assignment take a part of one.
                opens_at = math.ceil(time.time() + window_opens_in)
                members["window_opens_at"] = self.recording.time(opens_at)
                window_opens_in = opens_at - 0.5 - time.time()
            action = self._server.assign(target, chosen, type, force_time=force_time,
                                         window_opens_in=window_opens_in)
            self.recording.step("assign", target=target, type=type, action=action,
                                modules=[{"id": each.id} for each in chosen], **members)
            self.recording.actions.append(action)
            self.recording.targets.setdefault(target)
        return action

    def _step(self, what, step, *arguments, **members):
        with self.recording.lock:
            step(*arguments)
            self.recording.step(what, **members)

    def cancel(self, action):
        self._step("cancel", self._server.cancel, action, action=action)

    def force_quit(self, action):
        self._step("force quit", self._server.force_quit, action, action=action)

    def force(self, action):
        self._step("force", self._server.force, action, action=action)

    def request_attributes(self, target):
        self._step("request attributes", self._server.request_attributes, target, target=target)

    def set_polling_time(self, text):
        self._step("polling time", self._server.set_polling_time, text, value=text)

    def start_rollout(self, name, targets, modules, groups):
        self.recording.refuse("a rollout")
        return self._server.start_rollout(name, targets, modules, groups)

    def slow_down(self, target):
        self._server.slow_down(target)

    def target(self, target):
        return self._server.target(target)

    def action(self, action):
        return self._server.action(action)

    def actions_with_code(self, code):
        return self._server.actions_with_code(code)

    def stop(self):
        self.recording.refuse("a restart of the server")
        self._server.stop()

    def start(self):
        self._server.start()

    def stop_proxy(self):
        self.recording.refuse("a restart of the proxy")
        self._server.stop_proxy()

    def start_proxy(self):
        self._server.start_proxy()

    def close(self):
        self._server.close()
