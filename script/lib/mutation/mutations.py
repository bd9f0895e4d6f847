# SPDX-License-Identifier: Apache-2.0
"""Finds the changes that a source can be tried with, each in one place.

Left out is what no test of behaviour can or should notice: log statements, whose texts are for people, the positions of
records in reports, static assertions, attributes, and declarations without code.
"""
from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass

from .slots import ASSIGNMENTS, Slot, is_block, is_constant, pieces, slot_of, statement
from .tokens import Token, TokenList

SWAPPED = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&="}
WORDS = {"true": "false", "false": "true", "continue": "break"}
UNTRIED_CALLS = re.compile(r"ZLOG_\w+|ZEPHRAN_\w+|static_assert|reported_at|decltype|sizeof|alignas")
KEYWORDS = {"return", "throw", "delete", "new", "else", "case", "goto", "using", "typedef", "break", "continue"}


@dataclass(frozen=True)
class Mutation:
    """One change: text[start:end] becomes the replacement."""

    start: int
    end: int
    replacement: str
    # The expression that can be chosen at run time instead, if there is one.
    slot: Slot | None = None
    # What is written before a statement for the same purpose.
    prefix: str = ""

    def applied_to(self, text: str) -> str:
        """The whole text with this change."""
        return text[:self.start] + self.replacement + text[self.end:]

    def describe(self, tokens: TokenList) -> str:
        """One line: what becomes what. An operator is shown with its neighbours, to tell it from others of the line."""
        at = next(index for index in range(len(tokens)) if tokens[index].start == self.start)
        before, after = (re.sub(r"\s+", " ", text).strip()
                         for text in (tokens.text[self.start:self.end], self.replacement))
        if tokens[at].kind == "mark_" and tokens[at].end == self.end:
            return f"{tokens.word(at - 1)} {before} {tokens.word(at + 1)} -> {after or 'nothing'}"
        return f"{before} -> {'nothing' if after in ('', ';') else after}"


def find_mutations(tokens: TokenList) -> list[Mutation]:
    """All of them in the order of the text."""
    untried = _untried(tokens)
    found: dict[tuple[int, int, str], Mutation] = {}
    for index in range(len(tokens)):
        if index not in untried:
            for mutation in _of_token(tokens, index):
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


def _of_token(tokens: TokenList, index: int) -> Iterator[Mutation]:
    token = tokens[index]
    if token.kind in ("string", "character", "number"):
        yield from _of_literal(tokens, index)
    elif token.text in WORDS:
        is_jump = token.text == "continue"
        yield Mutation(token.start, token.end, WORDS[token.text], None if is_jump else slot_of(tokens, index),
                       "break" if is_jump else "")
    elif token.text in ("if", "while"):
        yield from _of_condition(tokens, index)
    elif token.text == "?":
        slot = slot_of(tokens, index)
        if slot:
            yield Mutation(slot.start, token.start, f"!({tokens.text[slot.start:token.start].rstrip()}) ", slot)
    elif token.kind == "mark_":
        yield from _of_operator(tokens, index)
    if tokens.word(index - 1) in ("{", "}", ";", ")", "else", ":"):
        yield from _of_statement(tokens, index)


def _of_literal(tokens: TokenList, index: int) -> Iterator[Mutation]:
    token = tokens[index]
    if tokens.word(index + 1) == ">" and not tokens.is_spaced(index + 1):
        return
    for changed in _other_values(token):
        yield Mutation(token.start, token.end, changed, slot_of(tokens, index))


def _other_values(token: Token) -> Iterator[str]:
    if token.kind == "string":
        ending = token.text[token.text.rindex('"') + 1:]
        yield ('"mutant"' if token.text.startswith('""') else '""') + ending
    elif token.kind == "character":
        yield r"'\1'"
    else:
        found = re.fullmatch(r"(0[xX][\da-fA-F']+|\d[\d']*)(\w*)", token.text)
        if found:
            digits = found.group(1).replace("'", "")
            base = 16 if digits[:2] in ("0x", "0X") else 8 if digits[0] == "0" and len(digits) > 1 else 10
            yield f"{int(digits, base) + 1}{found.group(2)}"


def _of_condition(tokens: TokenList, index: int) -> Iterator[Mutation]:
    if tokens.word(index + 1) != "(":
        return
    first, end = pieces(tokens, index + 1, ";")[-1]
    if end <= first:
        return
    start, stop = tokens[first].start, tokens[end - 1].end
    condition = tokens.text[start:stop]
    declared = [at for at in range(first, end) if tokens.word(at) == "=" and tokens.parent[at] == index + 1]
    lone = [at for at in range(first, end) if tokens.parent[at] == index + 1 and _is_own_mutation(tokens, at)]
    joined = any(tokens.word(at) in ("&&", "||", "?") for at in range(first, end) if tokens.parent[at] == index + 1)
    if lone and not joined:
        return
    if declared:
        yield Mutation(start, stop, f"{condition}; !({tokens.word(declared[0] - 1)})")
    else:
        yield Mutation(start, stop, f"!({condition})", Slot(start, stop, True))


def _is_own_mutation(tokens: TokenList, at: int) -> bool:
    """Whether another change of this token already negates a condition that has no other operator."""
    return tokens.word(at) in ("==", "!=", "!", "true", "false")


def _of_operator(tokens: TokenList, index: int) -> Iterator[Mutation]:
    token, before = tokens[index], tokens.word(index - 1)
    if token.text in SWAPPED and tokens.is_spaced(index) and before != ",":
        texts = {tokens[at].kind for at in (index - 1, index + 1) if 0 <= at < len(tokens)}
        if token.text not in ("+", "+=") or "string" not in texts:
            yield Mutation(token.start, token.end, SWAPPED[token.text], slot_of(tokens, index))
    elif token.text in ("++", "--"):
        yield Mutation(token.start, token.end, "--" if token.text == "++" else "++", slot_of(tokens, index))
    elif token.text == "!" or (token.text == "-" and _is_sign_of_name(tokens, index)):
        yield Mutation(token.start, token.end, "", slot_of(tokens, index))


def _is_sign_of_name(tokens: TokenList, index: int) -> bool:
    before = tokens[index - 1]
    follows_value = before.kind in ("name", "number") and before.text != "return"
    return tokens[index + 1].kind == "name" and not follows_value and before.text not in (")", "]")


def _of_statement(tokens: TokenList, index: int) -> Iterator[Mutation]:
    parent = tokens.parent[index]
    token = tokens[index]
    if token.kind != "name" and token.text not in ("*", "++", "--", "::"):
        return
    if parent is None or tokens.word(parent) != "{" or not is_block(tokens, parent) or is_constant(tokens, index):
        return
    found = statement(tokens, index)
    if found is None or found[0] != index:
        return
    first, last = found
    start, end = tokens[first].start, tokens[last].end
    if tokens.word(first) == "return" and last > first + 1:
        value = tokens.text[tokens[first + 1].start:tokens[last - 1].end]
        if value not in ("{}", "false", "0", "nullptr", "true", "boost::none", "std::nullopt"):
            yield Mutation(tokens[first + 1].start, tokens[last - 1].end, "{}", None, "return {}")
    elif tokens.word(first) in ("return", "break", "throw") or _is_action(tokens, first, last):
        yield Mutation(start, end, ";", None, ";")


def _is_action(tokens: TokenList, first: int, last: int) -> bool:
    """Whether a statement is a call, an assignment or a step, as opposed to a declaration."""
    if tokens.word(first) in KEYWORDS or any(tokens.word(at) in ("constexpr", "auto", "const") for at in
                                             range(first, last) if tokens.parent[at] == tokens.parent[first]):
        return False
    level = [at for at in range(first, last) if tokens.parent[at] == tokens.parent[first]]
    for at in level:
        if tokens.word(at) in ASSIGNMENTS:
            return True
        after = tokens.word(at + 1)
        if tokens[at].kind == "name" and at + 1 < last and tokens[at + 1].kind == "name":
            return False
        if tokens.word(at) in (">", "&", "*") and at + 1 < last and tokens[at + 1].kind == "name" and at > first \
                and not tokens.is_spaced(at):
            return False
        if after == "{" and tokens[at].kind == "name" and at + 1 in tokens.partner \
                and is_block(tokens, at + 1):
            return False
    return tokens.word(last - 1) in (")", "++", "--") or tokens.word(first) in ("++", "--") or "<<" in map(
        tokens.word, level)
