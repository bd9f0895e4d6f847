# SPDX-License-Identifier: Apache-2.0
"""Writes many mutations of a source into one text, of which the running program chooses at most one.

An expression becomes `(zephran_mutant(7) ? (changed) : (expression))`, a statement that is left out gets
`if (zephran_mutant(8)) {} else` before it. Compiling once for all of them is what makes the whole affordable.
"""
from __future__ import annotations

from collections import defaultdict
from dataclasses import dataclass, field

from .change import Mutation
from .slots import Slot

CHOICE = "zephran_mutant"


@dataclass
class Schema:
    """The text, and for each line of it the mutations that a compiler's complaint about the line concerns."""

    text: str
    lines: dict[int, set[int]] = field(default_factory=dict)


@dataclass(frozen=True)
class _Insertion:
    position: int
    # Closing ones come before opening ones; larger expressions open first and close last.
    order: tuple[int, int]
    text: str
    numbers: frozenset[int]
    # 1 where an original expression begins, -1 where it ends.
    depth: int = 0


def is_choosable(mutation: Mutation) -> bool:
    """Whether a running program can choose this mutation."""
    return mutation.slot is not None or mutation.prefix != ""


def write_schema(text: str, mutations: dict[int, Mutation]) -> Schema:
    """The text with all of these mutations, by their numbers. Each must be choosable."""
    insertions: list[_Insertion] = []
    slots: defaultdict[Slot, dict[int, Mutation]] = defaultdict(dict)
    for number, mutation in mutations.items():
        if mutation.slot:
            slots[mutation.slot][number] = mutation
        else:
            insertions.append(_before_statement(text, number, mutation))
    for slot, alternatives in slots.items():
        insertions += _around_expression(text, slot, alternatives)
    return _assemble(text, sorted(insertions, key=lambda one: (one.position, one.order)))


def _before_statement(text: str, number: int, mutation: Mutation) -> _Insertion:
    start = mutation.start
    if mutation.prefix.startswith("return"):
        start = text.rindex("return", 0, mutation.start)
    action = "" if mutation.prefix == ";" else mutation.prefix + ";"
    written = f"\nif ({CHOICE}({number})) {{ {action} }} else\n"
    return _Insertion(start, (1, -2 * len(text) - 2), written, frozenset([number]))


def _around_expression(text: str, slot: Slot, alternatives: dict[int, Mutation]) -> list[_Insertion]:
    size = slot.end - slot.start
    insertions = [_Insertion(slot.start, (1, -2 * size), "(", frozenset(alternatives))]
    truth = "static_cast<bool>" if slot.is_condition else ""
    for number, one in sorted(alternatives.items()):
        changed = text[slot.start:one.start] + one.replacement + text[one.end:slot.end]
        written = f"\n{CHOICE}({number}) ? {truth}({changed}\n) :\n"
        insertions.append(_Insertion(slot.start, (1, -2 * size + 1), written, frozenset([number])))
    insertions.append(_Insertion(slot.start, (1, -2 * size + 1), f"{truth}(", frozenset(alternatives), 1))
    insertions.append(_Insertion(slot.end, (0, size), "))", frozenset(alternatives), -1))
    return insertions


def _assemble(text: str, insertions: list[_Insertion]) -> Schema:
    parts: list[str] = []
    schema, line, position = Schema(""), 1, 0
    open_numbers: list[frozenset[int]] = []
    for insertion in insertions:
        original = text[position:insertion.position]
        for offset in range(original.count("\n") + 1):
            schema.lines.setdefault(line + offset, set()).update(*open_numbers[-1:])
        parts += [original, insertion.text]
        line += original.count("\n")
        for offset in range(insertion.text.count("\n") + (0 if insertion.text.endswith("\n") else 1)):
            schema.lines.setdefault(line + offset, set()).update(insertion.numbers)
        line += insertion.text.count("\n")
        position = insertion.position
        if insertion.depth > 0:
            open_numbers.append(insertion.numbers)
        elif insertion.depth < 0:
            open_numbers.pop()
    parts.append(text[position:])
    schema.text = "".join(parts)
    return schema
