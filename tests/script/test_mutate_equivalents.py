# SPDX-License-Identifier: Apache-2.0
"""Accepted survivors are mutations of lines that are there; script/mutate finds that out only of the files it runs."""
from __future__ import annotations

import pathlib
from functools import cache

from mutation.mutations import find_mutations
from mutation.review import Place, read_review, text_of_line
from mutation.tokens import TokenList

ROOT = pathlib.Path(__file__).resolve().parents[2]


@cache
def places_of(file: str) -> frozenset[Place]:
    tokens = TokenList((ROOT / file).read_text(encoding="utf-8"))
    lines = tokens.text.splitlines()
    return frozenset(Place(file, text_of_line(lines, tokens.line(one.start) - 1), one.describe(tokens))
                     for one in find_mutations(tokens))


def test_every_entry_is_a_mutation_of_a_line_that_is_there():
    entries = read_review(ROOT / "script/lib/mutate-equivalents")

    assert entries
    assert [entry for entry in entries if entry not in places_of(entry.file)] == []
