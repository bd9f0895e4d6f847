# SPDX-License-Identifier: Apache-2.0
"""Runs the cases of parts that have not been run yet, notes each result, and shows a table of all results."""
import argparse
import pathlib
import re
import sys
import tempfile
import time
import zlib

import bench
import gateway_bench
import part as parts
import players
from pki import Pki
from results import Results, print_table


def arguments():
    parser = argparse.ArgumentParser(prog="script/prove")
    parser.add_argument("parts", nargs="*", metavar="PART")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--results", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--replay", type=pathlib.Path)
    options = parser.parse_args()
    if unknown := set(options.parts) - set(parts.names()):
        parser.error(f"no part named {', '.join(unknown)} (script/prove --list lists them)")
    options.parts = options.parts or [name for name in parts.names()
                                      if options.list or parts.find(name).is_played_unasked]
    if options.jobs < 1:
        parser.error("--jobs counts from 1")
    if options.replay and (len(options.parts) != 1 or not hasattr(parts.find(options.parts[0]), "replay")):
        parser.error("--replay needs a part whose histories are kept as files")
    return options


def chosen(part, cases, results, pattern):
    """Those to be played, in an order that has nothing to do with theirs, so that a few of them are a sample."""
    left = [case for case in cases if case not in results and re.search(pattern, case)]
    return sorted(left, key=lambda case: (part.length(case), zlib.crc32(case.encode())))


def play(name, workshop, options):
    """Plays a part's cases until the time is over; returns the part, its cases, and their results."""
    path = workshop.kept / f"{name}.jsonl"
    if options.again:
        path.unlink(missing_ok=True)
    results = Results(path)
    end = time.monotonic() + options.seconds
    part = parts.find(name)(workshop)
    cases = part.cases()
    for case, outcome, details, seconds in players.play(
            part, cases, chosen(part, cases, results, options.only), options.jobs, end):
        results.add(case, outcome, details, seconds)
        if details:
            print(f"{name}: {case}: {outcome}, {details}", flush=True)
    return part, cases, results


def report(name, part, cases, results):
    """Prints what has become of a part; returns the number of violations."""
    outcomes = results.outcomes(cases)
    violations = sum(outcome == parts.VIOLATION for outcome in outcomes.values())
    print(f"\n== {name}: {part.summary}")
    print_table(part, outcomes)
    print(f"{len(outcomes)} of {len(cases)} cases have been played, {violations} violations; results in {results.path}")
    return violations


def main():
    options = arguments()
    if options.list:
        for name in options.parts:
            print(f"{name:<16} {parts.find(name).summary}")
        return 0
    bench.TIMEOUT = gateway_bench.TIMEOUT = parts.HANGS
    options.results.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="prove-") as directory:
        scratch = pathlib.Path(directory)
        (scratch / "pki").mkdir()
        workshop = parts.Workshop(scratch, options.results, Pki(scratch / "pki", client_name="gw-1"))
        if options.replay:
            limits = parts.find(options.parts[0])(workshop).replay(options.replay)
            print(f"no rule is broken{''.join(f'; known limit: {limit}' for limit in limits)}")
            return 0
        played = [(name, *play(name, workshop, options)) for name in options.parts]
    violations = sum(report(*each) for each in played)
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
