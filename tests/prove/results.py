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
        self._entries = {entry["case"]: entry for entry in map(json.loads, lines)}

    def __contains__(self, case):
        return case in self._entries

    def add(self, case, outcome, details, seconds):
        """Keeps how a case has ended."""
        entry = {"case": case, "outcome": outcome, "details": details, "seconds": round(seconds, 2)}
        self._entries[case] = entry
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry) + "\n")

    def outcomes(self, cases):
        """How each of these has ended, as far as they have been played."""
        return {case: self._entries[case]["outcome"] for case in cases if case in self._entries}


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
