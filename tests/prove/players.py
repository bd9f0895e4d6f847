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


def play(part, cases, names, jobs, end):
    """Yields (name, outcome, details, seconds) of each case that has begun before the end, in the order of their ends.

    end: on the monotonic clock. Throws Crash.
    """
    _Player.part, _Player.cases = part, cases
    left = iter(names)
    with concurrent.futures.ProcessPoolExecutor(
            jobs, multiprocessing.get_context("fork"), initializer=die_with_parent) as players:
        running = set()
        while True:
            while len(running) < jobs and time.monotonic() < end and (name := next(left, None)) is not None:
                running.add(players.submit(_play, name))
            if not running:
                return
            done, running = concurrent.futures.wait(running, return_when=concurrent.futures.FIRST_COMPLETED)
            for each in done:
                name, outcome, details, seconds = each.result()
                if outcome is None:
                    raise Crash(f"{name}: {details}")
                yield name, outcome, details, seconds
