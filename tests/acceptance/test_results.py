# SPDX-License-Identifier: Apache-2.0
"""The table of results, and what script/acceptance refuses before it starts."""
import os
import subprocess
import sys
from pathlib import Path
from types import SimpleNamespace

import pytest

import results
from results import Line, Results

SCRIPT = Path(__file__).resolve().parents[2] / "script/acceptance"


def report(when, outcome, seconds=1.0, scenario="one", server="devkit"):
    return SimpleNamespace(nodeid=f"{scenario}[{server}]", when=when, outcome=outcome, duration=seconds,
                           failed=outcome == "failed",
                           user_properties=[("scenario", scenario), ("server", server)])


def written(path, *reports):
    collected = Results(path)
    for each in reports:
        collected.pytest_runtest_logreport(each)
    collected.pytest_terminal_summary(SimpleNamespace(section=str, write_line=str))
    return results.read(path)


def test_the_times_of_all_phases_count(tmp_path):
    lines = written(tmp_path / "results", report("setup", "passed", 2.0), report("call", "passed", 3.0),
                    report("teardown", "passed", 0.5))

    assert lines == [Line("one", "devkit", "passed", 5.5)]


@pytest.mark.parametrize("phases, result", [
    (("passed", "failed", "passed"), "failed"),
    (("failed", None, "passed"), "error"),
    (("passed", "passed", "failed"), "error"),
    (("passed", "failed", "failed"), "failed"),
    (("skipped", None, "passed"), "skipped"),
])
def test_the_worst_phase_is_the_result(tmp_path, phases, result):
    reports = [report(when, outcome) for when, outcome in zip(("setup", "call", "teardown"), phases, strict=True)
               if outcome]

    lines = written(tmp_path / "results", *reports)

    assert [line.result for line in lines] == [result]


def test_several_runs_make_one_table(tmp_path):
    path = tmp_path / "results"
    written(path, report("call", "passed", 12.34, scenario="a long name"))
    written(path, report("call", "failed", scenario="b", server="hawkbit"))

    rows = results.table(results.read(path))

    assert rows == ["a long name  devkit   passed     12.3 s",
                    "b            hawkbit  failed      1.0 s",
                    "2 scenarios: 1 passed, 1 failed"]


@pytest.mark.parametrize("lines, status", [
    ([], 1),
    ([Line("one", "devkit", "passed", 1.0)], 0),
    ([Line("one", "devkit", "passed", 1.0), Line("two", "devkit", "skipped", 0.0)], 1),
])
def test_only_a_run_that_passed_ends_with_0(tmp_path, lines, status):
    path = tmp_path / "results"
    results.append(path, lines)

    done = subprocess.run([sys.executable, results.__file__, path], capture_output=True, text=True,
                          check=False)

    assert done.returncode == status, done.stderr


def run_script(*arguments, **environment):
    return subprocess.run([SCRIPT, *arguments], env={**os.environ, **environment}, capture_output=True,
                          text=True, check=False, timeout=60)


def test_a_jar_that_is_not_there_is_named():
    done = run_script(HAWKBIT_JAR="/nowhere/hawkbit.jar")

    assert (done.returncode, done.stderr) == (1, "Error: HAWKBIT_JAR names no file: /nowhere/hawkbit.jar\n")


def test_an_unknown_server_is_named():
    done = run_script("--server", "hawk")

    assert (done.returncode, done.stderr) == (
        1, "Error: no server named hawk (script/acceptance --help lists them)\n")
