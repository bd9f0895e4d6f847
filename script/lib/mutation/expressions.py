# SPDX-License-Identifier: Apache-2.0
"""Changes within expressions: operators, constants, texts, and conditions."""
from __future__ import annotations

import re
from collections.abc import Iterator

from .change import Mutation
from .slots import Slot, pieces, slot_of
from .tokens import Token, TokenList

SWAPPED = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&="}
WORDS = {"true": "false", "false": "true"}


def of_expression(tokens: TokenList, index: int) -> Iterator[Mutation]:
    """The changes of one token."""
    token = tokens[index]
    if token.kind in ("string", "character", "number"):
        yield from _of_literal(tokens, index)
    elif token.text in WORDS:
        yield Mutation(token.start, token.end, WORDS[token.text], slot_of(tokens, index))
    elif token.text in ("if", "while"):
        yield from _of_condition(tokens, index)
    elif token.text == "?":
        slot = slot_of(tokens, index)
        if slot:
            yield Mutation(slot.start, token.start, f"!({tokens.text[slot.start:token.start].rstrip()}) ", slot)
    elif token.kind == "sign":
        yield from _of_operator(tokens, index)


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
