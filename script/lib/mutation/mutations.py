# SPDX-License-Identifier: Apache-2.0
"""Finds the changes that a source can be tried with, each in one place.

Left out is what no test of behaviour can or should notice: log statements, whose texts are for people, the positions of
records in reports, static assertions, attributes, and declarations without code.
"""
from __future__ import annotations

import re

from .change import Mutation
from .expressions import of_expression
from .statements import of_statement
from .tokens import TokenList

UNTRIED_CALLS = re.compile(r"ZLOG_\w+|ZEPHRAN_(?!THROW)\w+|static_assert|reported_at|decltype|sizeof|alignas")
BEFORE_STATEMENT = ("{", "}", ";", ")", "else", ":")


def find_mutations(tokens: TokenList) -> list[Mutation]:
    """All of them in the order of the text."""
    untried = _untried(tokens)
    found: dict[tuple[int, int, str], Mutation] = {}
    for index in range(len(tokens)):
        if index in untried:
            continue
        changes = list(of_expression(tokens, index))
        if tokens.word(index - 1) in BEFORE_STATEMENT:
            changes += of_statement(tokens, index)
        for mutation in changes:
            found.setdefault((mutation.start, mutation.end, mutation.replacement), mutation)
    return sorted(found.values(), key=lambda one: (one.start, one.end, one.replacement))


def _untried(tokens: TokenList) -> set[int]:
    """Tokens of calls that are left out, of attributes, and of pure virtual declarations."""
    left_out: set[int] = set()
    for index in range(len(tokens)):
        if UNTRIED_CALLS.fullmatch(tokens.word(index)) and tokens.word(index + 1) == "(":
            left_out.update(range(index, tokens.partner[index + 1] + 2))
        elif tokens.word(index) == tokens.word(index + 1) == "[" and index in tokens.partner:
            left_out.update(range(index, tokens.partner[index]))
        elif tokens.word(index) == "operator":
            left_out.update((index, index + 1, index + 2))
        elif _is_marked_by_next(tokens, index):
            left_out.add(index + 1)
    return left_out


def _is_marked_by_next(tokens: TokenList, index: int) -> bool:
    """Whether the next token makes a function pure or defaulted, or tells the language of a declaration."""
    word, after = tokens.word(index), tokens.word(index + 1)
    if word == "=":
        return after in ("0", "default", "delete") and tokens.word(index - 1) in (")", "const", "override", "noexcept")
    return word == "extern" and after.startswith('"')
