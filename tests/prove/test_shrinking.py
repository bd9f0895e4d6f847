# SPDX-License-Identifier: Apache-2.0
"""Whether a history that breaks a rule is made as short as possible, and whether a seed always draws the same ones."""
import pytest

pytest.importorskip("hypothesis", reason="script/prove or script/lint installs it")

from hypothesis import seed
from hypothesis.stateful import run_state_machine_as_test

import machine


class NoGateway:
    """Takes every step and does nothing."""

    options = adapters = None

    def __init__(self):
        self.done = []

    def begin(self, options, adapters, **gateway):
        self.options, self.adapters = options, adapters

    def is_open(self):
        return False

    def close(self):
        pass

    def __getattr__(self, step):
        return lambda **arguments: self.done.append((step, arguments))


class RefusesPowerCutsAfterAnOutage:
    def __init__(self, play):
        self._steps = [step for step, _ in play.done]

    def judge(self):
        assert "power_cut" not in self._steps[self._steps.index("outage"):] if "outage" in self._steps else True


def drawn(number, count, judge, monkeypatch):
    """The steps of every history, and those of the broken ones."""
    monkeypatch.setattr(machine, "Verdict", judge)
    plays, broken = [], []

    def make():
        plays.append(NoGateway())
        return plays[-1]

    try:
        run_state_machine_as_test(seed(number)(machine.machine_for(make, broken.append)),
                                  settings=machine.how_many(count))
    except AssertionError:
        assert broken
    return [play.done for play in plays], broken


def test_broken_history_is_shortened(monkeypatch):
    _, broken = drawn(1, 300, RefusesPowerCutsAfterAnOutage, monkeypatch)

    assert [step for step, _ in broken[-1]] == ["begin", "assign", "outage", "power_cut"]


def test_seed_draws_the_same_histories_again(monkeypatch):
    class Satisfied:
        def __init__(self, play):
            pass

        def judge(self):
            pass

    first, none_broken = drawn(7, 20, Satisfied, monkeypatch)

    assert first == drawn(7, 20, Satisfied, monkeypatch)[0]
    assert first != drawn(8, 20, Satisfied, monkeypatch)[0]
    assert none_broken == []
