# SPDX-License-Identifier: Apache-2.0
"""How script/mutate judges, with a compiler and programs that only pretend."""
from __future__ import annotations

import os
import pathlib
import signal
import subprocess
import tempfile
from collections.abc import Iterator

import pytest

from mutation import sandbox
from mutation.mutations import find_mutations
from mutation.results import KILLED, STILLBORN, SURVIVED, TIMED_OUT, UNREACHED
from mutation.tokens import TokenList
from mutation.tree import Compiled
from mutation.trial import BrokenBaseline, Trial, programs_for

CODE = "int f(int a, int b) {\n    return a + b;\n}\n"
NUMBERS = {mutation.replacement: number for number, mutation in enumerate(find_mutations(TokenList(CODE)))}

pytestmark = pytest.mark.skipif(
    subprocess.run(sandbox.sandboxed(["true"]), capture_output=True, check=False).returncode != 0,
    reason="this system allows no name spaces")


@pytest.fixture(name="outside")
def fixture_outside() -> Iterator[pathlib.Path]:
    """A directory that the programs see, as opposed to those in /tmp."""
    with tempfile.TemporaryDirectory(dir="/var/tmp") as name:
        yield pathlib.Path(name)


class PretendedTree:
    """Programs are shell scripts. What contains `refused` does not compile."""

    def __init__(self, root: pathlib.Path, program: str, refused: str = "no such text") -> None:
        self.root = root
        self.work = root
        self.programs = ["tests/lib/a/a_test", "tests/lib/b/b_test"]
        self.compile_commands = {"a.o": ["c++", "-c", str(root / "lib/a/a.cpp")]}
        self._program = program
        self._refused = refused
        self.neighbours: list[set[str]] = []

    def objects_of(self, source, program):
        return ["a.o"] if source.startswith("lib/a") or program.endswith("b_test") else []

    def compile(self, target, source, to, overlay):
        self.neighbours.append({path.name for path in source.parent.iterdir()})
        lines = source.read_text(encoding="utf-8").splitlines()
        errors = [f"a.cpp:{number}:1: error: no" for number, line in enumerate(lines, 1) if self._refused in line]
        return Compiled(not errors, "\n".join(errors))

    def link(self, program, objects, to):
        to.write_text(f"#!/bin/bash\n{self._program}", encoding="utf-8")
        to.chmod(0o755)


def judge(root: pathlib.Path, program: str, refused: str = "no such text") -> dict[str, str]:
    """The state of each mutation by its replacement."""
    states = {}
    mutations = dict(enumerate(find_mutations(TokenList(CODE))))
    tree = PretendedTree(root, program, refused)
    trial = Trial(tree, "lib/a/a.cpp", CODE, mutations, lambda number, verdict: states.update(
        {mutations[number].replacement: verdict.state}), 2)
    trial.run(["tests/lib/a/a_test"])
    return states


REACHES = "\n".join([
    'echo "[       OK ] A.one (0 ms)"',
    *(f'[ -z "$ZEPHRAN_MUTANT_LOG" ] || echo "{number} A.one" >>"$ZEPHRAN_MUTANT_LOG"' for number in NUMBERS.values())])


def test_source_beside_a_changed_header_is_compiled_with_it(outside):
    (outside / "lib/a").mkdir(parents=True)
    (outside / "lib/a/a.cpp").write_text('#include "a.h"\n', encoding="utf-8")
    tree = PretendedTree(outside, REACHES)

    Trial(tree, "lib/a/a.h", CODE, dict(enumerate(find_mutations(TokenList(CODE)))), lambda *_: None, 1).run(
        ["tests/lib/a/a_test"])

    assert tree.neighbours
    assert all(names == {"a.h", "a.cpp"} for names in tree.neighbours)


def test_failing_test_kills(outside):
    program = f'{REACHES}\n[ "$ZEPHRAN_MUTANT" != {NUMBERS["-"]} ]'

    assert judge(outside, program) == {"{}": SURVIVED, "-": KILLED}


def test_tests_that_reach_the_mutation_run_first(outside):
    program = f'{REACHES}\n[ "$ZEPHRAN_MUTANT$GTEST_FILTER" != {NUMBERS["-"]}A.one ]'

    assert judge(outside, program) == {"{}": SURVIVED, "-": KILLED}


def test_survivor_has_to_survive_all_tests(outside):
    program = f'{REACHES}\n[ "$ZEPHRAN_MUTANT$GTEST_FILTER" != "{NUMBERS["-"]}*" ]'

    assert judge(outside, program) == {"{}": SURVIVED, "-": KILLED}


def test_what_no_test_reaches_is_not_tried(outside):
    assert judge(outside, '[ -z "$ZEPHRAN_MUTANT" ]') == {"{}": UNREACHED, "-": UNREACHED}


def test_temporary_files_are_in_the_sandbox_wherever_those_of_the_user_are(outside, monkeypatch):
    monkeypatch.setenv("TMPDIR", str(outside))

    assert judge(outside, f'{REACHES}\nmktemp') == {"{}": SURVIVED, "-": SURVIVED}


def test_endless_test_kills(outside, monkeypatch):
    monkeypatch.setattr("mutation.trial.GRACE_SECONDS", 0.5)

    assert judge(outside, f'{REACHES}\n[ "$ZEPHRAN_MUTANT" != {NUMBERS["-"]} ] || sleep 1000') == {
        "{}": SURVIVED, "-": TIMED_OUT}


def test_what_does_not_compile_is_stillborn(outside):
    assert judge(outside, REACHES, "a - b") == {"{}": SURVIVED, "-": STILLBORN}


def test_what_compiles_only_alone_is_tried_alone(outside):
    program = f'{REACHES}\n! [ "$ZEPHRAN_MUTANT$GTEST_FILTER" = "-1*" ]'

    assert judge(outside, program, f"zephran_mutant({NUMBERS['-']})") == {"{}": SURVIVED, "-": KILLED}


def test_tests_that_fail_anyway_judge_nothing(outside):
    with pytest.raises(BrokenBaseline, match="reason of the failure"):
        judge(outside, "echo reason of the failure; false")


def test_tests_that_fail_without_the_others_judge_nothing(outside):
    with pytest.raises(BrokenBaseline, match="if only these tests run"):
        judge(outside, f'{REACHES}\n[ -z "$GTEST_FILTER" ]')


def test_tests_that_fail_once_without_a_change_are_asked_again(outside, monkeypatch):
    failures = [sandbox.Outcome(1, "busy")] * 2
    run = sandbox.run

    def sometimes_fail(program, seconds, environment):
        asks_again = environment.get("ZEPHRAN_MUTANT") == "-1"
        return failures.pop() if asks_again and failures else run(program, seconds, environment)

    monkeypatch.setattr(sandbox, "run", sometimes_fail)

    assert judge(outside, f'{REACHES}\n[ "${{ZEPHRAN_MUTANT:--1}}" = -1 ]') == {"{}": KILLED, "-": KILLED}
    assert not failures


@pytest.mark.parametrize("source, programs", [
    ("lib/a/a.cpp", ["tests/lib/a/a_test"]),
    ("lib/a/inner/a.cpp", ["tests/lib/a/a_test"]),
    ("platform/p.h", ["tests/lib/b/b_test"]),
])
def test_tests_of_the_mirroring_folder_judge(outside, source, programs):
    assert programs_for(PretendedTree(outside, ""), source) == programs


def test_program_can_neither_kill_nor_write_outside(outside):
    with subprocess.Popen(["sleep", "1000"]) as bystander:
        script = f"kill {bystander.pid}; touch {outside}/x; touch /tmp/y; kill -KILL -1; ls /tmp"
        done = sandbox.run(["bash", "-c", script], 10, {})
        assert bystander.poll() is None
        bystander.send_signal(signal.SIGKILL)

    assert done.status == 0
    assert "y" in done.output.split()
    assert not os.path.exists("/tmp/y")
    assert list(outside.iterdir()) == []


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGINT, signal.SIGQUIT])
def test_signals_have_their_effect_whatever_the_caller_ignores(number):
    before = signal.signal(number, signal.SIG_IGN)
    done = sandbox.run(["sh", "-c", f"kill -{number.value} $$; echo still here"], 10, {})
    signal.signal(number, before)

    assert done.status == 128 + number
    assert "still here" not in done.output


def test_log_can_be_written_by_every_user():
    done = sandbox.run(["stat", "-c", "%a", str(pathlib.PurePosixPath(sandbox.LOG).parent), sandbox.LOG], 10, {})

    assert (done.status, done.output.split()) == (0, ["777", "666"])
