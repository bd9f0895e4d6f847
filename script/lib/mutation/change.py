# SPDX-License-Identifier: Apache-2.0
"""One change of a source."""
from __future__ import annotations

import re
from dataclasses import dataclass

from .slots import Slot
from .tokens import TokenList


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
        if tokens[at].kind == "sign" and tokens[at].end == self.end:
            return f"{tokens.word(at - 1)} {before} {tokens.word(at + 1)} -> {after or 'nothing'}"
        return f"{before} -> {'nothing' if after in ('', ';') else after}"
