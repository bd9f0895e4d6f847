#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Collects one line for each scenario: its name, the server, the result, and its duration in seconds.

As a pytest plugin it prints the table of a run; with --results FILE the lines are also appended to that file.
As a program it prints the table of such a file:

    results.py FILE

Its exit status is 0 if there is at least one line and all scenarios passed.
"""
from __future__ import annotations

import json
import sys
from dataclasses import asdict, dataclass
from pathlib import Path

PASSED = "passed"
# In increasing order of severity: the worst of a scenario's phases is its result.
RESULTS = (PASSED, "skipped", "error", "failed")


@dataclass
class Line:
    """The result of one scenario; a failure outside the scenario itself is an error."""

    scenario: str
    server: str
    result: str = PASSED
    seconds: float = 0.0

    def add(self, result: str, seconds: float) -> None:
        self.result = max(self.result, result, key=RESULTS.index)
        self.seconds += seconds


def table(lines: list[Line]) -> list[str]:
    """The lines in columns, sorted by server and name, and their total."""
    if not lines:
        return ["no scenario was run"]
    ordered = sorted(lines, key=lambda line: (line.server, line.scenario))
    name = max(len(line.scenario) for line in ordered)
    server = max(len(line.server) for line in ordered)
    rows = [f"{line.scenario:{name}}  {line.server:{server}}  {line.result:7}  {line.seconds:6.1f} s"
            for line in ordered]
    counts = [f"{count} {result}" for result in RESULTS
              if (count := sum(line.result == result for line in ordered))]
    return [*rows, f"{len(ordered)} scenarios: {', '.join(counts)}"]


def all_passed(lines: list[Line]) -> bool:
    return bool(lines) and all(line.result == PASSED for line in lines)


def read(path: Path) -> list[Line]:
    """The lines of a file; none if no run has written it yet."""
    if not path.exists():
        return []
    return [Line(**json.loads(text)) for text in path.read_text(encoding="utf-8").splitlines()]


def append(path: Path, lines: list[Line]) -> None:
    with path.open("a", encoding="utf-8") as file:
        file.writelines(json.dumps(asdict(line)) + "\n" for line in lines)


class Results:
    """Collects the reports of a run; with xdist those of all workers."""

    def __init__(self, path: Path | None) -> None:
        self._path = path
        self._lines: dict[str, Line] = {}

    def pytest_runtest_logreport(self, report):
        told = dict(report.user_properties)
        if "scenario" not in told:
            return
        line = self._lines.setdefault(report.nodeid, Line(told["scenario"], told["server"]))
        is_error = report.failed and report.when != "call"
        line.add("error" if is_error else report.outcome, report.duration)

    def pytest_terminal_summary(self, terminalreporter):
        lines = list(self._lines.values())
        if not lines:
            return
        terminalreporter.section("scenarios")
        for text in table(lines):
            terminalreporter.write_line(text)
        if self._path is not None:
            append(self._path, lines)


def name_scenario(item, servers) -> None:
    """Attaches scenario and server to the reports of a test that runs against one of these servers."""
    server = getattr(item, "callspec", None) and item.callspec.params.get("server")
    if server not in servers:
        return
    others = [part for part in item.callspec.id.split("-") if part]
    for part in server.split("-"):
        others.remove(part)
    name = item.originalname.removeprefix("test_").replace("_", " ")
    suffix = f" [{'-'.join(others)}]" if others else ""
    item.user_properties += [("scenario", name + suffix), ("server", server)]


def main(arguments: list[str]) -> int:
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    lines = read(Path(arguments[0]))
    print(*table(lines), sep="\n")
    return 0 if all_passed(lines) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
