# SPDX-License-Identifier: Apache-2.0
"""Splits C++ into tokens. Comments and preprocessor directives yield none."""
from __future__ import annotations

import bisect
import re
from dataclasses import dataclass

OPENING = {"(": ")", "[": "]", "{": "}"}
CLOSING = {value: key for key, value in OPENING.items()}
PATTERN = re.compile(
    r"""(?P<skipped>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<string>(?:u8|[uUL])?(?:R"(?P<mark>[^()\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*")\w*)
      | (?P<character>(?:u8|[uUL])?'(?:\\.[^']*|[^'\\\n])')
      | (?P<number>\.?\d(?:[eEpP][+-]|'(?=\w)|[\w.])*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<sign>->\*|<<=|>>=|\.\.\.|::|->|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|[^\s\w"'])""",
    re.DOTALL | re.VERBOSE)
DIRECTIVE = re.compile(r"[ \t]*#(?:[^\n\\]|\\.)*", re.DOTALL)


@dataclass(frozen=True)
class Token:
    """One token and its place in the text."""

    kind: str
    text: str
    start: int
    end: int


class TokenList:
    """The tokens of a source, with the pairs of its brackets."""

    def __init__(self, text: str) -> None:
        self.text = text
        self.tokens = list(_split(text))
        self.partner: dict[int, int] = {}
        # The opening bracket that a token is directly inside of.
        self.parent: list[int | None] = []
        open_brackets: list[int] = []
        for index, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in CLOSING and open_brackets:
                opening = open_brackets.pop()
                self.partner[opening], self.partner[index] = index, opening
            self.parent.append(open_brackets[-1] if open_brackets else None)
            if token.kind == "sign" and token.text in OPENING:
                open_brackets.append(index)
        self._line_starts = [0] + [found.end() for found in re.finditer("\n", text)]

    def __len__(self) -> int:
        return len(self.tokens)

    def __getitem__(self, index: int) -> Token:
        return self.tokens[index]

    def word(self, index: int) -> str:
        """The text of a token, empty beyond the ends."""
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def line(self, position: int) -> int:
        """The number of the line, from 1 on, that holds this position of the text."""
        return bisect.bisect_right(self._line_starts, position)

    def is_spaced(self, index: int) -> bool:
        """Whether there are blanks on both sides, as the formatting puts them around binary operators only."""
        token = self.tokens[index]
        return self.text[token.start - 1:token.start].isspace() and self.text[token.end:token.end + 1].isspace()


def _split(text: str) -> list[Token]:
    found: list[Token] = []
    position = 0
    while position < len(text):
        at_line_start = text[text.rfind("\n", 0, position) + 1:position].strip() == ""
        directive = DIRECTIVE.match(text, position) if at_line_start else None
        if directive:
            position = directive.end()
            continue
        match = PATTERN.match(text, position)
        if match is None:
            raise ValueError(f"no token begins with {text[position:position + 20]!r}")
        kind = "string" if match.group("string") else str(match.lastgroup)
        if kind != "skipped":
            found.append(Token(kind, match.group(), position, match.end()))
        position = match.end()
    return found
