# SPDX-License-Identifier: Apache-2.0
"""The action history as `actionHistory=N` shows it.

hawkBit 0.9.0 sorts by the time of the report only. Reports therefore come newest first, but nothing orders the
details within a report: with the default database they stay as sent while all messages fit into N, and change
their order once there are more.
"""

from __future__ import annotations

import random
from collections.abc import Sequence

from .model import StatusEntry

MAX_HISTORY = 100
OWN_PREFIX = "Update Server: "
ORDERS = ("kept", "swapped", "shuffled")


def visible_reports(entries: Sequence[StatusEntry]) -> list[list[str]]:
    """The messages of each report that has any to show, newest report first. The server's own messages are hidden."""
    newest_first = sorted(entries, key=lambda entry: entry.occurred_at, reverse=True)
    reports = ([text for text in entry.messages if text is not None and not text.startswith(OWN_PREFIX)]
               for entry in newest_first)
    return [report for report in reports if report]


def limit(requested: int) -> int:
    """How many messages are shown: a negative number asks for all, and 100 is the limit."""
    return MAX_HISTORY if requested < 0 else min(requested, MAX_HISTORY)


def read(entries: Sequence[StatusEntry], requested: int, order: str, chance: random.Random) -> list[str]:
    """At most `requested` messages.

    `order` decides about their order once there are more: "kept" leaves it as sent; "swapped" puts the last piece
    of the newest report first, as the real server nearly always does (a pair is swapped, output comes before
    "Chunk deployed"); "shuffled" shuffles the pieces of every report.
    """
    count = limit(requested)
    reports = visible_reports(entries)
    if sum(map(len, reports)) > count > 0:
        if order == "swapped":
            reports[0] = reports[0][-1:] + reports[0][:-1]
        elif order == "shuffled":
            for report in reports:
                chance.shuffle(report)
    return [text for report in reports for text in report][:count]
