# SPDX-License-Identifier: Apache-2.0
"""Replays what was recorded from a running hawkBit 0.9.0 and compares every answer and the final records.

traces/ was recorded manually with a throw-away device, recorded/ by `script/acceptance --record` with the daemon
itself. A file is a list of the operator's steps, of exchanges, and finally of the server's records of actions and
targets. Status, headers and bodies are compared, with their ids and hashes; `{server}` stands for scheme and authority.
The following is not compared: the value of `c` (it must change when the recorded one did), the ETag of JSON documents
(it depends on the authority), texts of HTML pages, times, the exact polling time before a maintenance window, and
whatever the real server does not order: the chunks of a deployment, and the entries of a history that does not show
all messages (in recorded/ also within the newest report). The opening times of maintenance windows in traces/ were
inferred from the recorded polling times.
"""

from __future__ import annotations

import base64
import hashlib
import http.client
import json
import re
from collections import Counter
from pathlib import Path
from typing import Any

import pytest

from hawkbit_server import Action, UpdateServer, Window, history
from hawkbit_server.model import SoftwareModule
from hawkbit_server.settings import parse_sleep

TRACES = sorted((Path(__file__).parent / "traces").glob("*.json"))
RECORDED = sorted((Path(__file__).parent / "recorded").glob("*.json"))
TOKEN = "GatewayToken testkey"
START = 1_795_000_000.0


class Replay:
    """Plays a trace; `is_order_lost` allows any order within the newest report of a cut history."""

    def __init__(self, trace: list[dict[str, Any]], is_order_lost: bool) -> None:
        self.trace = trace
        self.is_order_lost = is_order_lost
        self.now = START
        self.server = UpdateServer(clock=lambda: self.now, authorization=TOKEN)
        self.modules: dict[int, SoftwareModule] = {}
        self.actions: dict[int, Action] = {}
        self.hashes: dict[str, str] = {}

    def run(self) -> int:
        """Returns how many answers were compared."""
        compared = 0
        with self.server:
            for step in self.trace:
                self.now = START + step.get("t", 0)
                if "operator" in step:
                    self.operate(step)
                elif "request" in step:
                    self.exchange(step["request"], step["response"])
                    compared += 1
                elif "record" in step:
                    self.check_record(step["record"])
                else:
                    self.check_target(step)
        return compared

    def operate(self, step: dict[str, Any]) -> None:
        what = step["operator"]
        if what == "assign":
            self.assign(step)
        elif what == "cancel":
            self.server.cancel(self.actions[step["action"]])
        elif what == "force quit":
            self.server.force_quit(self.actions[step["action"]])
        elif what == "force":
            self.server.force(self.actions[step["action"]])
        elif what == "continue numbers":
            self.server.continue_numbers(step["kind"], step["following"])
        elif what == "request attributes":
            self.server.request_attributes(step["target"])
        elif what == "add module":
            self.add_module(step)
        elif what == "polling time":
            self.server.settings.poll = step["value"]
        else:
            raise ValueError(f"unknown step {what!r}")

    def add_module(self, step: dict[str, Any]) -> None:
        self.server.continue_numbers("module", step["id"])
        files = {name: text.encode() if isinstance(text, str) else base64.b64decode(text["base64"])
                 for name, text in step["artifacts"].items()}
        self.modules[step["id"]] = self.server.software_module(step["type"], step["name"], step["version"], files)

    def assign(self, step: dict[str, Any]) -> None:
        for each in step["modules"]:
            if each["id"] not in self.modules:
                self.add_module(each)
        self.server.continue_numbers("action", step["action"])
        opens, forced = step.get("window_opens_at"), step.get("force_time")
        action = self.server.assign(step["target"], [self.modules[each["id"]] for each in step["modules"]],
                                    step["type"], force_time=None if forced is None else START + forced,
                                    window=None if opens is None else Window(opens_at=START + opens))
        self.actions[action.id] = action

    def exchange(self, request: dict[str, Any], expected: dict[str, Any]) -> None:
        headers = dict(request["headers"])
        if request.get("authorized", True):
            headers["Authorization"] = TOKEN
        body = request["body"]
        data = None if body is None else (body if isinstance(body, str) else json.dumps(body)).encode()
        connection = http.client.HTTPConnection(self.server.address, timeout=20)
        connection.request(request["method"], request["path"], data, headers)
        response = connection.getresponse()
        raw = response.read()
        connection.close()

        where = f"{request['method']} {request['path']}"
        assert response.status == expected["status"], where
        for name, value in expected["headers"].items():
            assert response.headers[name] == value, f"{where}: {name}"
        self.compare_body(where, raw, response.headers["Content-Type"] or "", expected["body"])

    def compare_body(self, where: str, raw: bytes, content_type: str, expected: Any) -> None:
        if content_type.startswith("text/html"):
            return
        if content_type.startswith("application/octet-stream") and isinstance(expected, dict):
            assert {"sha256": hashlib.sha256(raw).hexdigest()} == expected, where
            return
        if expected is None or isinstance(expected, str):
            assert raw.decode() == (expected or ""), where
            return
        got = json.loads(raw)
        expected = self.with_own_hashes(json.loads(json.dumps(expected).replace("{server}", self.server.url)), got)
        for document in (got, expected):
            document.pop("timestamp", None)
        own, recorded = (self.take_messages(document) for document in (got, expected))
        self.forget_order_of_chunks(got, expected)
        self.forgive_a_second(got, expected)
        assert got == expected, where
        shown = re.search(r"actionHistory=(\d+)", where)
        if shown is None or len(recorded) != int(shown[1]):
            assert own == recorded, where
        elif self.is_order_lost:
            self.compare_cut_history(where, int(got["id"]), recorded)
        else:
            newest = self.newest_length(recorded)
            assert Counter(own) == Counter(recorded), where
            assert own[:newest] == recorded[:newest], where

    def compare_cut_history(self, where: str, action: int, recorded: list[str]) -> None:
        """Reports come newest first and complete, each in any order; the last one may lack any pieces."""
        left = recorded
        for report in history.visible_reports(self.actions[action].entries):
            shown, left = left[:len(report)], left[len(report):]
            assert not Counter(shown) - Counter(report), where
        assert not left, where

    @staticmethod
    def take_messages(document: Any) -> list[str]:
        if not isinstance(document, dict) or "actionHistory" not in document:
            return []
        return document["actionHistory"].pop("messages")

    @staticmethod
    def forget_order_of_chunks(*documents: Any) -> None:
        for document in documents:
            if isinstance(document, dict) and "deployment" in document:
                document["deployment"]["chunks"].sort(key=json.dumps)

    def forgive_a_second(self, got: Any, expected: Any) -> None:
        """The polling time before a window is a third of the remaining time, rounded."""
        if not (isinstance(got, dict) and "config" in got and any(each.window for each in self.actions.values())):
            return
        own, recorded = (parse_sleep(document["config"]["polling"]["sleep"]) for document in (got, expected))
        if abs(own - recorded) == 1:
            got["config"] = expected["config"]

    def newest_length(self, messages: list[str]) -> int:
        """How many of the first messages belong to the newest report."""
        return next(len(entry.messages) for action in self.actions.values() for entry in reversed(action.entries)
                    if messages[0] in entry.messages)

    def with_own_hashes(self, expected: Any, got: Any) -> Any:
        """Replaces each recorded `c` by the stand-in's, always by the same one."""
        links = expected.get("_links", {}) if isinstance(expected, dict) else {}
        if "deploymentBase" not in links:
            return expected
        recorded = links["deploymentBase"]["href"]
        own = re.search(r"c=(-?\d+)$", got["_links"]["deploymentBase"]["href"])
        assert own is not None
        key = recorded.partition("?c=")[2]
        assert self.hashes.setdefault(key, own[1]) == own[1], "c changed although the recorded one did not"
        assert len(set(self.hashes.values())) == len(self.hashes), "c stayed although the recorded one changed"
        links["deploymentBase"]["href"] = recorded.replace(f"?c={key}", f"?c={own[1]}")
        return expected

    def check_record(self, record: dict[str, Any]) -> None:
        action = self.actions[int(record["action"])]
        entries = [{"type": each.type.value, "messages": list(each.messages)} for each in action.entries]

        assert ("pending" if action.active else "finished") == record["status"]
        assert action.status.value == record["detailStatus"]
        assert entries == record["entries"]

    def check_target(self, record: dict[str, Any]) -> None:
        target = self.server.store.targets[record["target"]]

        assert target.attributes == record["attributes"]
        assert target.update_status == record["updateStatus"]


def test_all_recorded_scenarios_are_there() -> None:
    assert len(TRACES) == 17
    assert len(RECORDED) >= 12


@pytest.mark.parametrize("path", [*TRACES, *RECORDED], ids=lambda path: f"{path.parent.name}/{path.stem}")
def test_answers_like_the_recorded_server(path: Path) -> None:
    trace = json.loads(path.read_text(encoding="utf-8"))
    replay = Replay(trace, is_order_lost=path in RECORDED)

    compared = replay.run()

    assert compared == sum("request" in step for step in trace) > 0
