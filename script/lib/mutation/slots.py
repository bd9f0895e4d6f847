# SPDX-License-Identifier: Apache-2.0
"""Where in a source an expression, a condition or a statement begins and ends, told from its brackets alone."""
from __future__ import annotations

from dataclasses import dataclass

from .tokens import TokenList

ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
TYPE_WORDS = {"namespace", "struct", "class", "enum", "union", "extern"}
BLOCK_ENDS = {
    ")", "else", "do", "try", "const", "noexcept", "override", "final", "mutable", ";", "{", "}", "]", ":", ""}
COMPILED = {"constexpr", "using", "static_assert", "case", "enum"}
TRAILING_TYPE = {"::", "<", ">", "*", "&", ","}


@dataclass(frozen=True)
class Slot:
    """A complete expression: positions of the text, and whether only its truth counts."""

    start: int
    end: int
    is_condition: bool = False


def is_block(tokens: TokenList, opening: int) -> bool:
    """Whether a brace holds statements or declarations, not values."""
    index = opening - 1
    if tokens.word(index) in BLOCK_ENDS:
        return True
    while index >= 0 and (tokens[index].kind == "name" or tokens.word(index) in TRAILING_TYPE):
        if tokens.word(index) in TYPE_WORDS:
            return True
        index -= 1
    if tokens.word(index) == "->":
        return True
    return any(tokens.word(at) in TYPE_WORDS for at in range(statement_start(tokens, opening), index + 1))


def is_class_body(tokens: TokenList, opening: int) -> bool:
    """Whether a brace holds members, which are declarations even where they look like calls."""
    words = [tokens.word(at) for at in range(statement_start(tokens, opening), opening)]
    return "(" not in words and not {"class", "struct", "union"}.isdisjoint(words)


def statement_start(tokens: TokenList, index: int) -> int:
    parent = tokens.parent[index]
    while index > 0 and tokens.parent[index] == parent:
        word = tokens.word(index - 1)
        if index - 1 == parent or word == ";":
            break
        if word == "}" and tokens.parent[index - 1] == parent and is_block(tokens, tokens.partner[index - 1]):
            break
        index = tokens.partner[index - 1] if word in (")", "]", "}") else index - 1
    return index


def is_constant(tokens: TokenList, index: int) -> bool:
    """Whether the compiler evaluates the token, so that no running program can choose another."""
    at: int | None = index
    while at is not None:
        words = {tokens.word(other) for other in range(statement_start(tokens, at), at)}
        if words & COMPILED:
            return True
        at = tokens.parent[at]
    return False


def statement(tokens: TokenList, index: int) -> tuple[int, int] | None:
    """First and last token of the statement that a token is in, `if (...)`, `else` and labels left out.

    The last one is the semicolon. There is none for what ends with a block.
    """
    parent = tokens.parent[index]
    first = statement_start(tokens, index)
    while tokens.word(first) in ("if", "while", "for", "else", "do", "case", "default", "switch"):
        if tokens.word(first) in ("case", "default"):
            while tokens.word(first) != ":":
                first += 1
        elif tokens.word(first) in ("if", "while", "for", "switch"):
            first = tokens.partner[first + (2 if tokens.word(first + 1) == "constexpr" else 1)]
        first += 1
        if first > index:
            return None
    last = index
    while last < len(tokens) and tokens.word(last) != ";":
        if tokens[last].text in ("(", "[", "{") and last in tokens.partner:
            last = tokens.partner[last]
        last += 1
        if last >= len(tokens) or tokens.parent[last] != parent:
            return None
    return (first, last) if last < len(tokens) else None


def pieces(tokens: TokenList, opening: int, separator: str) -> list[tuple[int, int]]:
    """The parts between a bracket and its partner: first token, and the one after the last."""
    closing = tokens.partner[opening]
    found, first, index = [], opening + 1, opening + 1
    while index < closing:
        if tokens.word(index) == separator:
            found.append((first, index))
            first = index + 1
        index = tokens.partner[index] + 1 if tokens[index].text in ("(", "[", "{") else index + 1
    return found + [(first, closing)]


def _value_in(tokens: TokenList, first: int, end: int, index: int) -> Slot:
    """Without what stands before the last assignment or the colon of a loop, if the token is behind it."""
    depth = tokens.parent[index]
    for at in range(index - 1, first - 1, -1):
        if tokens.parent[at] == depth and (
                tokens.word(at) in ASSIGNMENTS or tokens.word(at) in ("return", "throw", ":", "co_return")):
            first = at + 1
            break
    return Slot(tokens[first].start, tokens[end - 1].end)


def slot_of(tokens: TokenList, index: int) -> Slot | None:
    """The smallest complete expression around a token; none where there are no expressions."""
    opening = tokens.parent[index]
    if opening is None or is_constant(tokens, index):
        return None
    if tokens.word(opening) == "{" and is_block(tokens, opening):
        found = statement(tokens, index)
        if found is None:
            return None
        return _value_in(tokens, found[0], found[1], index)
    separator = ";" if tokens.word(opening - 1) in ("for", "if", "while", "switch", "constexpr") else ","
    for first, end in pieces(tokens, opening, separator):
        if first <= index < end:
            slot = _value_in(tokens, first, end, index)
            whole = slot.start == tokens[first].start
            is_condition = whole and tokens.word(opening - 1) in ("if", "while", "for") and separator == ";"
            return Slot(slot.start, slot.end, is_condition)
    return None
