# SPDX-License-Identifier: Apache-2.0
"""Changes of whole statements: left out, or returning another value."""
from __future__ import annotations

from collections.abc import Iterator

from .change import Mutation
from .slots import ASSIGNMENTS, is_block, is_class_body, is_constant, statement
from .tokens import TokenList

NO_ACTIONS = {
    "return", "throw", "delete", "new", "else", "case", "goto", "using", "typedef", "break", "continue", "catch"}
# A value-initialised result is often the same, so that the expression itself is changed only.
SAME_WHEN_EMPTY = (
    "{}", "false", "0", "nullptr", "true", "boost::none", "std::nullopt", '""',
    "EXIT_SUCCESS", "UBUS_STATUS_OK")


def of_statement(tokens: TokenList, index: int) -> Iterator[Mutation]:
    """The changes of the statement that begins with a token, if one does."""
    parent = tokens.parent[index]
    token = tokens[index]
    if token.kind != "name" and token.text not in ("*", "++", "--", "::"):
        return
    if parent is None or tokens.word(parent) != "{" or not is_block(tokens, parent) or is_class_body(tokens, parent) \
            or is_constant(tokens, index):
        return
    found = statement(tokens, index)
    if found is None or found[0] != index:
        return
    first, last = found
    start, end = tokens[first].start, tokens[last].end
    if tokens.word(first) == "return" and last > first + 1:
        value = tokens.text[tokens[first + 1].start:tokens[last - 1].end]
        if value not in SAME_WHEN_EMPTY:
            yield Mutation(tokens[first + 1].start, tokens[last - 1].end, "{}", None, "return {}")
    elif tokens.word(first) == "continue":
        yield Mutation(start, end, "break;", None, "break")
    elif tokens.word(first) in ("return", "break", "throw") or _is_action(tokens, first, last):
        yield Mutation(start, end, ";", None, ";")


def _is_action(tokens: TokenList, first: int, last: int) -> bool:
    """Whether a statement is a call, an assignment or a step, as opposed to a declaration."""
    if tokens.word(first) in NO_ACTIONS or any(tokens.word(at) in ("constexpr", "auto", "const") for at in
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
