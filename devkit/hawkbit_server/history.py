"""The action history as `actionHistory=N` shows it.

hawkBit 0.9.0 sorts by the time of the report only. Reports among each other therefore come newest first, but
nothing orders the details of one report: with its default database they stay as sent while all messages fit
into N, and come in changed order once there are more.
"""

from __future__ import annotations

import random
from collections.abc import Sequence

from .model import StatusEntry

MAX_HISTORY = 100
OWN_PREFIX = "Update Server: "
ORDERS = ("kept", "swapped", "shuffled")


def visible_reports(entries: Sequence[StatusEntry]) -> list[list[str]]:
    """The messages of each report that has any to show, newest report first; the server's own are hidden."""
    newest_first = sorted(entries, key=lambda entry: entry.occurred_at, reverse=True)
    reports = ([text for text in entry.messages if text is not None and not text.startswith(OWN_PREFIX)]
               for entry in newest_first)
    return [report for report in reports if report]


def limit(requested: int) -> int:
    """How many messages are shown: a negative number asks for all, and 100 is the most."""
    return MAX_HISTORY if requested < 0 else min(requested, MAX_HISTORY)


def read(entries: Sequence[StatusEntry], requested: int, order: str, chance: random.Random) -> list[str]:
    """At most `requested` messages.

    `order` decides what happens once there are more than that: "kept" leaves the order as sent, "swapped" puts
    the last piece of the newest report first (what the real server does nearly always: a pair is swapped, an
    output comes before "Chunk deployed"), "shuffled" mixes the pieces of every report.
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
