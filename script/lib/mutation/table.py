# SPDX-License-Identifier: Apache-2.0
"""The numbers of each folder."""
from __future__ import annotations

import collections
import pathlib

from .results import STILLBORN, Verdict

COLUMNS = ("mutants", "stillborn", "killed", "accepted", "survived")


def table_of(judged: list[tuple[str, Verdict, bool]]) -> list[str]:
    """Lines of a table. Each mutation is given by its file, its verdict, and whether it is on the reviewed list."""
    counts: dict[str, collections.Counter[str]] = collections.defaultdict(collections.Counter)
    for file, verdict, accepted in judged:
        kind = "stillborn" if verdict.state == STILLBORN else "killed"
        if verdict.is_survivor:
            kind = "accepted" if accepted else "survived"
        for name in (str(pathlib.PurePosixPath(file).parent), "all"):
            counts[name].update(("mutants", kind))
    lines = ["| folder | " + " | ".join(COLUMNS) + " | killed % |", "|---|" + "--:|" * (len(COLUMNS) + 1)]
    for name in sorted(counts, key=lambda one: (one == "all", one)):
        of = counts[name]
        live = of["mutants"] - of["stillborn"] - of["accepted"]
        share = f"{100 * of['killed'] / live:.1f}" if live else "-"
        lines.append(f"| {name} | " + " | ".join(str(of[column]) for column in COLUMNS) + f" | {share} |")
    return lines
