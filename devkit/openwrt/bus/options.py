# SPDX-License-Identifier: Apache-2.0
"""Command lines of options with one letter, as getopt of C takes them."""
from __future__ import annotations

import sys


class UsageError(Exception):
    """The command line makes no sense."""


def parse(arguments: list[str], flags: str, valued: str) -> tuple[dict[str, str], list[str]]:
    """The options by letter and all other words, which options may follow.

    flags   letters of the options without a value; theirs is empty
    valued  letters of the options with one
    """
    options: dict[str, str] = {}
    words: list[str] = []
    waiting = list(reversed(arguments))
    while waiting:
        word = waiting.pop()
        if word == "--":
            return options, words + waiting[::-1]
        if len(word) < 2 or word[0] != "-":
            words.append(word)
        elif word[1] in flags:
            options[word[1]] = ""
            if word[2:]:
                waiting.append("-" + word[2:])
        elif word[1] in valued and (word[2:] or waiting):
            options[word[1]] = word[2:] or waiting.pop()
        else:
            raise UsageError
    return options, words


def complain(program: str, text: str) -> int:
    """Says what went wrong, and returns the exit status for it."""
    print(f"{program}: {text}", file=sys.stderr)
    return 1
