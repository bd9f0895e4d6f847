# SPDX-License-Identifier: Apache-2.0
"""Random histories of operator, server, link, power and user; one that breaks a rule is made as short as possible.

A case is some histories that one seed draws. The shortest one that breaks a rule is kept as a file, which can be played
alone.
"""
import contextlib
import json

from hypothesis import seed
from hypothesis.stateful import run_state_machine_as_test

from machine import how_many, machine_for
from part import DIVIDER, KNOWN_LIMIT, VIOLATION, Part
from play import Play
from verdict import Verdict

OF_A_CASE = 10
CASES = 1000
PASSED = "passed"


class Cases(Part):
    """A case is a seed."""

    summary = f"random histories with shrinking, {OF_A_CASE} for each seed"
    columns = ("Histories", "Who draws them")

    def cases(self):
        return {DIVIDER.join([str(OF_A_CASE), f"seed {number}"]): number for number in range(1, CASES + 1)}

    def row(self, name):
        return str(OF_A_CASE), "each seed"

    def run(self, number):
        plays, broken = [], []
        machine = machine_for(lambda: self._play(plays), broken.append)
        try:
            run_state_machine_as_test(seed(number)(machine), settings=how_many(OF_A_CASE))
        except Exception as error:  # whatever a step or a rule raises
            kept = self.workshop.kept / f"history-{number}.json"
            kept.write_text(as_text(broken[-1]), encoding="utf-8")
            return VIOLATION, f"{type(error).__name__}: {error}; script/prove histories --replay {kept}"
        limits = sorted(set().union(*(play.limits for play in plays)))
        return (KNOWN_LIMIT, ", ".join(limits)) if limits else (PASSED, "")

    def replay(self, file):
        """Plays the history of a file; returns the known limits that it has met. Throws if it breaks a rule."""
        with contextlib.closing(Play(self.workshop.make_directory(), self.workshop.pki)) as play:
            for step, arguments in json.loads(file.read_text(encoding="utf-8")):
                getattr(play, step)(**arguments)
            Verdict(play).judge()
            return play.limits

    def _play(self, plays):
        plays.append(Play(self.workshop.make_directory(), self.workshop.pki))
        return plays[-1]


def as_text(steps):
    """A history as a file has it: one step a line."""
    return "[\n" + ",\n".join(" " + json.dumps(step) for step in steps) + "\n]\n"
