# SPDX-License-Identifier: Apache-2.0
"""Compiles the mutations of one source and lets the tests judge them."""
from __future__ import annotations

import pathlib
import re
import shutil
import subprocess
from collections import defaultdict
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor

from . import sandbox
from .change import Mutation
from .results import KILLED, STILLBORN, SURVIVED, TIMED_OUT, UNREACHED, Verdict
from .schema import is_choosable, write_schema
from .tree import Compiled, Tree

GRACE_SECONDS = 4.0
TIMES_SLOWER = 4.0
MAX_FILTER = 60
ROUNDS = 6
NO_MUTATION = -1
EVERYTHING = "*"
# On a busy machine a test of time limits may fail once.
BASELINE_ATTEMPTS = 3
PASSED_TEST = re.compile(r"^\[       OK \] (\S+) \((\d+) ms\)", re.MULTILINE)
Objects = dict[str, pathlib.Path]


class BrokenBaseline(Exception):
    """The tests fail although nothing is changed."""


def programs_for(tree: Tree, source: str) -> list[str]:
    """The test programs of the nearest folder of the tests that mirrors a folder of the source."""
    users = [program for program in tree.programs if tree.objects_of(source, program)]
    folder = pathlib.PurePosixPath("tests") / pathlib.PurePosixPath(source).parent
    while folder.name:
        found = [program for program in users if pathlib.PurePosixPath(program).parent == folder]
        if found:
            return found
        folder = folder.parent
    return users[:2]


class Trial:
    """One source with some of its mutations, by number."""

    def __init__(self, tree: Tree, source: str, text: str, mutations: dict[int, Mutation],
                 keep: Callable[[int, Verdict], None], jobs: int) -> None:
        self.tree, self.source, self.text, self.mutations, self.keep, self.jobs = \
            tree, source, text, mutations, keep, jobs
        self.work = tree.work / source.replace("/", "-")
        self.pending: dict[int, Verdict] = {}
        self._sound: set[tuple[str, str]] = set()

    def run(self, programs: list[str]) -> None:
        """Judges each mutation by the programs, one after another until one notices it."""
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        choosable = {number for number, one in self.mutations.items() if is_choosable(one)}
        for program in programs:
            choosable = self._try_together(program, choosable)
        alone = set(self.mutations) - choosable
        for number in sorted(alone):
            self._try_alone(number, programs)
        for number, verdict in self.pending.items():
            self.keep(number, verdict)
        shutil.rmtree(self.work, ignore_errors=True)

    def _try_together(self, program: str, numbers: set[int]) -> set[int]:
        """Those that could be compiled together. What is killed is kept; the others wait for other programs."""
        compiled, objects = self._compile_together(program, numbers)
        remaining = {number for number in compiled if number not in self.pending or self.pending[number].is_survivor}
        if remaining:
            binary = self.work / "program"
            self.tree.link(program, objects, binary)
            reached, seconds = self._reached_by(binary, program)
            with ThreadPoolExecutor(self.jobs) as pool:
                for number, verdict in pool.map(
                        lambda one: (one, self._judge(binary, program, one, reached.get(one), seconds)),
                        sorted(remaining)):
                    self._note(number, verdict)
        return compiled

    def _note(self, number: int, verdict: Verdict) -> None:
        earlier = self.pending.get(number)
        if earlier and earlier.state == SURVIVED and verdict.state == UNREACHED:
            return
        self.pending[number] = verdict
        if not verdict.is_survivor:
            self.keep(number, verdict)

    def _compile(self, program: str, text: str) -> tuple[bool, str, Objects]:
        """Compiles all objects of a program that the source is part of, with this text instead of it."""
        overlay = self.work / "overlay"
        changed = overlay / pathlib.PurePosixPath(self.source).relative_to(self.source.split("/")[0])
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(text, encoding="utf-8")
        targets = self.tree.objects_of(self.source, program)
        objects = {target: self.work / f"{number}.o" for number, target in enumerate(targets)}
        # What the first object refuses, the others refuse too: a header can have very many.
        with ThreadPoolExecutor(self.jobs) as pool:
            for group in (targets[:1], targets[1:]):
                done = list(pool.map(lambda one: self._compile_object(one, changed, objects[one], overlay), group))
                if not all(one.ok for one in done):
                    return False, "".join(one.errors for one in done), {}
        return True, "", objects

    def _compile_object(self, target: str, changed: pathlib.Path, to: pathlib.Path, overlay: pathlib.Path) -> Compiled:
        own = self.tree.compile_commands[target]
        original = pathlib.Path(own[own.index("-c") + 1])
        if original.parent == (self.tree.root / self.source).parent:
            # A quoted include finds what lies beside the including file first.
            original = self._copy_beside(changed, original)
        return self.tree.compile(target, original, to, overlay)

    @staticmethod
    def _copy_beside(changed: pathlib.Path, original: pathlib.Path) -> pathlib.Path:
        beside = changed.with_name(original.name)
        if beside != changed:
            shutil.copyfile(original, beside)
        return beside

    def _compile_together(self, program: str, numbers: set[int]) -> tuple[set[int], Objects]:
        for _ in range(ROUNDS):
            if not numbers:
                break
            schema = write_schema(self.text, {number: self.mutations[number] for number in numbers})
            ok, errors, objects = self._compile(program, schema.text)
            if ok:
                return numbers, objects
            file_name = re.escape(pathlib.PurePosixPath(self.source).name)
            mentioned = {kind: set[int]().union(*(schema.lines.get(int(line), ()) for line in re.findall(
                rf"{file_name}:(\d+):\d+:{kind}", errors))) for kind in (" error", " ")}
            rejected = mentioned[" error"] or mentioned[" "]
            if not rejected:
                break
            numbers = numbers - rejected
        return set(), {}

    def _reached_by(self, binary: pathlib.Path, program: str) -> tuple[dict[int, set[str]], dict[str, float]]:
        """The tests that reach each mutation, and how long each test takes."""
        for _ in range(BASELINE_ATTEMPTS):
            done = sandbox.run([str(binary)], 600, {"ZEPHRAN_MUTANT_LOG": sandbox.LOG})
            if done.status == 0:
                break
        output, _, log = done.output.partition(sandbox.LOG_MARK)
        if done.status != 0:
            raise BrokenBaseline(f"{program} fails without a change:\n{output[-3000:]}")
        reached: defaultdict[int, set[str]] = defaultdict(set)
        for line in log.split("\n"):
            number, _, test = line.partition(" ")
            if number:
                reached[int(number)].add(test)
        return reached, {name: int(spent) / 1000 for name, spent in PASSED_TEST.findall(output)}

    def _judge(self, binary: pathlib.Path, program: str, number: int, tests: set[str] | None,
               seconds: dict[str, float]) -> Verdict:
        if not tests:
            return Verdict(UNREACHED, program)
        chosen = tests if "." not in tests and len(tests) <= MAX_FILTER else set(seconds)
        selection = ":".join(sorted(chosen)) if len(chosen) <= MAX_FILTER else EVERYTHING
        usual = sum(seconds.get(test, 1.0) for test in chosen)
        verdict = self._run_tests(binary, program, usual, number, selection)
        if verdict.state == KILLED and (program, selection) not in self._sound:
            # Tests that fail when they run without the others prove nothing.
            if not any(self._run_tests(binary, program, usual, NO_MUTATION, selection).state == SURVIVED
                       for _ in range(BASELINE_ATTEMPTS)):
                raise BrokenBaseline(f"{program} fails without a change if only these tests run: {selection}")
            self._sound.add((program, selection))
        if verdict.state == SURVIVED and selection != EVERYTHING:
            # What a process does once is reached by its first test only; others may see the effect.
            return self._run_tests(binary, program, sum(seconds.values()), number, EVERYTHING)
        return verdict

    def _run_tests(self, binary: pathlib.Path, program: str, usual: float, number: int, selection: str) -> Verdict:
        done = sandbox.run([str(binary)], GRACE_SECONDS + TIMES_SLOWER * usual, {
            "ZEPHRAN_MUTANT": str(number), "GTEST_FILTER": selection, "GTEST_FAIL_FAST": "1"})
        if done.status is None:
            return Verdict(TIMED_OUT, program)
        return Verdict(SURVIVED if done.status == 0 else KILLED, program)

    def _try_alone(self, number: int, programs: list[str]) -> None:
        """For what only the compiler can choose."""
        text = self.mutations[number].applied_to(self.text)
        for program in programs:
            ok, _, objects = self._compile(program, text)
            if not ok:
                self._note(number, Verdict(STILLBORN, program))
                return
            binary = self.work / "program"
            try:
                self.tree.link(program, objects, binary)
            except subprocess.CalledProcessError:
                self._note(number, Verdict(STILLBORN, program))
                return
            self._note(number, self._run_tests(binary, program, 10.0, NO_MUTATION, EVERYTHING))
            if not self.pending[number].is_survivor:
                return
