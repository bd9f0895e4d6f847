# SPDX-License-Identifier: Apache-2.0
"""Runs the cases of a part that have not been run yet, notes each result, and shows a table of all results."""
import argparse
import collections
import json
import pathlib
import re
import sys
import tempfile
import time
import zlib

import bench
import gateway_bench
from exchanges import Exchanges
from pki import Pki

PARTS = {"exchanges": Exchanges}
# Seconds of real time after which a history that does not end counts as hanging.
HANGS = 20


def arguments():
    parser = argparse.ArgumentParser(prog="script/prove")
    parser.add_argument("part", choices=PARTS)
    parser.add_argument("--results", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    parser.add_argument("--only", default="")
    return parser.parse_args()


def read_results(path):
    """What has become of each case so far, by name."""
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    return {entry["case"]: entry for entry in map(json.loads, lines)}


def run_cases(part, cases, path, seconds):
    """Runs them until the time is over."""
    end = time.monotonic() + seconds
    for name, case in cases:
        if time.monotonic() >= end:
            return
        began = time.monotonic()
        outcome, details = part.run(case)
        entry = {"case": name, "outcome": outcome, "details": details, "seconds": round(time.monotonic() - began, 2)}
        with open(path, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry) + "\n")
        if details:
            print(f"{name}: {outcome}, {details}", flush=True)


def show_table(results):
    """One line for each trouble under each set of options, with how often it ended in which way."""
    rows = collections.defaultdict(collections.Counter)
    for name, entry in results.items():
        group, _, trouble = name.split(" / ")
        rows[group, trouble][entry["outcome"]] += 1
    outcomes = sorted({outcome for counts in rows.values() for outcome in counts})
    print("| Options | Trouble | " + " | ".join(outcomes) + " |")
    print("|---|---|" + "---|" * len(outcomes))
    for (group, trouble), counts in rows.items():
        print(f"| {group} | {trouble} | " + " | ".join(str(counts[outcome]) for outcome in outcomes) + " |")


def main():
    options = arguments()
    bench.TIMEOUT = gateway_bench.TIMEOUT = HANGS
    options.results.mkdir(parents=True, exist_ok=True)
    path = options.results / f"{options.part}.jsonl"
    with tempfile.TemporaryDirectory(prefix="prove-") as scratch:
        directory = pathlib.Path(scratch)
        (directory / "pki").mkdir()
        part = PARTS[options.part](lambda: pathlib.Path(tempfile.mkdtemp(dir=directory)),
                                   Pki(directory / "pki", client_name="gw-1"))
        cases = part.cases()
        done = read_results(path)
        left = [name for name in cases if name not in done and re.search(options.only, name)]
        # In an order that has nothing to do with theirs, so that a few minutes are a sample of all.
        left.sort(key=lambda name: zlib.crc32(name.encode()))
        run_cases(part, [(name, cases[name]) for name in left], path, options.seconds)
    known = read_results(path)
    results = {name: known[name] for name in cases if name in known}
    show_table(results)
    violations = sum(entry["outcome"] == "VIOLATION" for entry in results.values())
    print(f"{len(results)} of {len(cases)} cases have been played, {violations} violations; results in {path}")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
