# SPDX-License-Identifier: Apache-2.0
"""What has become of the cases of a part, a line of JSON for each: the next call goes on where one was ended."""
import collections
import json

from part import VIOLATION


class Results:
    """Those of one part, in a file."""

    def __init__(self, path):
        self.path = path
        lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
        self._entries = {entry["case"]: entry for entry in filter(None, map(_parsed, lines))}

    def __contains__(self, case):
        return case in self._entries

    def add(self, case, outcome, details, seconds):
        """Keeps how a case has ended."""
        entry = {"case": case, "outcome": outcome, "details": details, "seconds": round(seconds, 2)}
        self._entries[case] = entry
        # One write, so that the lines of two runs at once do not mix.
        with open(self.path, "ab", buffering=0) as file:
            file.write((json.dumps(entry) + "\n").encode())

    def outcomes(self, cases):
        """How each of these has ended, as far as they have been played."""
        return {case: self._entries[case]["outcome"] for case in cases if case in self._entries}


def _parsed(line):
    """None for a line that was not written to its end: its case is played again."""
    try:
        return json.loads(line)
    except ValueError:
        return None


def print_table(part, outcomes):
    """One line for each row of the part, with how often it ended in which way."""
    rows = collections.defaultdict(collections.Counter)
    for case, outcome in outcomes.items():
        rows[part.row(case)][outcome] += 1
    headings = sorted(set(outcomes.values()), key=lambda outcome: (outcome == VIOLATION, outcome))
    print("|", " | ".join([*part.columns, *headings]), "|")
    print("|---" * (len(part.columns) + len(headings)) + "|")
    for row, counts in rows.items():
        print("|", " | ".join([*row, *(str(counts[heading]) for heading in headings)]), "|")
