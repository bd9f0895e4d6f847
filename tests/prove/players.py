# SPDX-License-Identifier: Apache-2.0
"""Plays cases of a part in some processes side by side. Only the caller keeps results, one case after another."""
import concurrent.futures
import multiprocessing
import time
import traceback

from gateway.kernel import die_with_parent


class Crash(Exception):
    """A part has failed to play a case; the text says where."""


class _Player:
    """What a process plays. It has come with the fork, so cases need not be sent: their names do."""

    part = None
    cases = None


def _play(name):
    began = time.monotonic()
    try:
        outcome, details = _Player.part.play(_Player.cases[name])
    except Exception:
        # Not every exception can be sent.
        return name, None, traceback.format_exc(), 0
    return name, outcome, details, time.monotonic() - began


def _next(left, part, lanes):
    """Takes out the first name whose lane is free; None if there is none."""
    for place, name in enumerate(left):
        if part.lane(name) is None or part.lane(name) not in lanes:
            return left.pop(place)
    return None


def play(part, cases, names, jobs, end):
    """Yields (name, outcome, details, seconds) of each case that has begun before the end, in the order of their ends.

    end: on the monotonic clock. Throws Crash.
    """
    _Player.part, _Player.cases = part, cases
    left = list(names)
    lanes = {}
    with concurrent.futures.ProcessPoolExecutor(
            jobs, multiprocessing.get_context("fork"), initializer=die_with_parent) as players:
        while True:
            while (len(lanes) < jobs and time.monotonic() < end
                   and (name := _next(left, part, lanes.values())) is not None):
                lanes[players.submit(_play, name)] = part.lane(name)
            if not lanes:
                return
            done, _ = concurrent.futures.wait(lanes, return_when=concurrent.futures.FIRST_COMPLETED)
            for each in done:
                del lanes[each]
                name, outcome, details, seconds = each.result()
                if outcome is None:
                    raise Crash(f"{name}: {details}")
                yield name, outcome, details, seconds
