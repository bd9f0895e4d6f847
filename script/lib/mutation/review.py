# SPDX-License-Identifier: Apache-2.0
"""The list of survivors that were looked at and accepted.

An entry is a line `FILE: TEXT OF THE LINE`, below it the mutations of that line, and a line `because REASON`, all of
these indented. Text, not a line number, ties an entry to its place: it holds until the line itself changes. A short
line such as `return;` is one of many: it is named together with the line before it.
"""
from __future__ import annotations

import pathlib
from dataclasses import dataclass


@dataclass(frozen=True)
class Place:
    """A mutation as the list names it."""

    file: str
    line: str
    change: str


SHORT = 12


def text_of_line(lines: list[str], at: int) -> str:
    """How the list names a line, given by its index."""
    text = lines[at].strip()
    return text if len(text) >= SHORT or at == 0 else f"{lines[at - 1].strip()} {text}"


def read_review(path: pathlib.Path) -> dict[Place, str]:
    """The reason for each accepted mutation. Raises ValueError for an entry without mutations or reason."""
    found: dict[Place, str] = {}
    for block in path.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in block.splitlines() if line.strip() and not line.startswith("#")]
        if not lines:
            continue
        file, _, text = lines[0].partition(": ")
        changes = [line.strip() for line in lines[1:]]
        reason = " ".join(changes[-1].split()) if changes else ""
        if not reason.startswith("because ") or len(changes) < 2 or lines[0].startswith(" "):
            raise ValueError(f"{path.name}: not an entry: {lines[0]}")
        for change in changes[:-1]:
            found[Place(file, text.strip(), change)] = reason.removeprefix("because ")
    return found
