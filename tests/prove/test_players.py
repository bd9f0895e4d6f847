# SPDX-License-Identifier: Apache-2.0
"""Whether cases are played side by side, and what is kept of them."""
import os
import time

import pytest

import players
from part import Part, Workshop
from results import Results

NEVER = float("inf")
TIMEOUT = 60


class Plain:
    """Has no files."""

    def lane(self, _):
        return None

    def play(self, case):
        return case()


def played(cases, jobs=2, end=NEVER):
    return {name: (outcome, details) for name, outcome, details, _ in players.play(Plain(), cases, cases, jobs, end)}


def test_each_case_is_played_once():
    cases = {str(number): lambda number=number: ("fine", str(number)) for number in range(20)}

    found = [name for name, *_ in players.play(Plain(), cases, cases, 3, NEVER)]

    assert sorted(found) == sorted(cases)
    assert played(cases) == {name: ("fine", name) for name in cases}


def test_cases_are_played_at_the_same_time(tmp_path):
    def meet(own, other):
        (tmp_path / own).touch()
        until = time.monotonic() + TIMEOUT
        while not (tmp_path / other).exists() and time.monotonic() < until:
            time.sleep(0.01)
        return ("met" if (tmp_path / other).exists() else "alone"), str(os.getpid())

    found = played({"a": lambda: meet("a", "b"), "b": lambda: meet("b", "a")})

    assert [outcome for outcome, _ in found.values()] == ["met", "met"]
    assert len({process for _, process in found.values()} | {str(os.getpid())}) == 3


def test_cases_of_one_lane_are_not_played_at_the_same_time(tmp_path):
    class Lanes(Plain):
        def lane(self, name):
            return name[0]

    def work(name):
        sign = tmp_path / name[0]
        sign.touch(exist_ok=False)
        until = time.monotonic() + TIMEOUT
        # The first two end only together: other lanes are not held up.
        (tmp_path / f"{name} began").touch()
        while len(list(tmp_path.glob("*1 began"))) < 2 and time.monotonic() < until:
            time.sleep(0.01)
        sign.unlink()
        return "met" if len(list(tmp_path.glob("*1 began"))) == 2 else "alone", ""

    names = ["a1", "a2", "a3", "b1", "b2"]
    cases = {name: lambda name=name: work(name) for name in names}

    found = {name: outcome for name, outcome, *_ in players.play(Lanes(), cases, names, 3, NEVER)}

    assert found == dict.fromkeys(names, "met")


def test_no_case_begins_after_the_end():
    assert played({"late": lambda: ("fine", "")}, end=time.monotonic() - 1) == {}


def test_part_that_fails_to_play_ends_the_run():
    class CannotBeSent(Exception):
        def __init__(self, first, second):
            super().__init__("lost")

    def fail():
        raise CannotBeSent(1, 2)

    with pytest.raises(players.Crash, match=r"(?s)bad.*CannotBeSent: lost"):
        played({"bad": fail})


def test_files_of_a_case_are_deleted_at_its_end(tmp_path):
    class Untidy(Part):
        def run(self, case):
            (self.workshop.make_directory() / "file").touch()
            return str(len(list(tmp_path.rglob("file")))), ""

    part = Untidy(Workshop(tmp_path, tmp_path, pki=None))

    outcomes = [outcome for _, outcome, *_ in players.play(part, {"a": 1, "b": 2}, "ab", 1, NEVER)]

    assert outcomes == ["1", "1"]
    assert list(tmp_path.iterdir()) == []


def test_results_outlast_a_line_that_was_cut_off(tmp_path):
    path = tmp_path / "results.jsonl"
    Results(path).add("first", "fine", "", 1)
    with open(path, "a", encoding="utf-8") as file:
        file.write('{"case": "second", "outc')
    Results(path).add("third", "fine", "", 1)
    Results(path).add("fourth", "fine", "", 1)

    results = Results(path)

    assert "first" in results
    assert "second" not in results
    assert "fourth" in results


def test_results_of_two_runs_at_once_are_all_kept(tmp_path):
    path = tmp_path / "results.jsonl"
    one, other = Results(path), Results(path)
    one.add("a", "fine", "", 1)
    other.add("b", "fine", "", 1)
    one.add("c", "fine", "", 1)

    assert set(Results(path).outcomes("abc")) == {"a", "b", "c"}
