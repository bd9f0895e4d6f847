# SPDX-License-Identifier: Apache-2.0
"""The fuzz targets, an hour each in pieces, or ten million executions."""
import json
import subprocess

from gateway_bench import PROJECT
from part import DIVIDER, VIOLATION, Part

SECONDS = 300
PIECES = 3600 // SECONDS
ENOUGH = 10**7
RECORD = PROJECT / "build/fuzz/work/record.jsonl"


class Cases(Part):
    """A case is a target and a piece of its hour."""

    summary = "each fuzz target for an hour or ten million executions; script/fuzz shows more"
    columns = ("Target",)
    # script/fuzz gives samples, and each piece takes minutes.
    is_played_unasked = False

    def cases(self):
        targets = sorted(path.name for path in (PROJECT / "tests/fuzz/corpora").iterdir())
        return {DIVIDER.join([target, str(piece)]): target for piece in range(1, PIECES + 1) for target in targets}

    def run(self, case):
        if executions(case) >= ENOUGH:
            return "enough was executed", ""
        command = [str(PROJECT / "script/fuzz"), "--seconds", str(SECONDS), case]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            return VIOLATION, (done.stdout + done.stderr)[-300:]
        return "nothing found", f"{executions(case):,} executions so far"

    def length(self, name):
        """Every target gets its first piece before one gets its second."""
        return int(name.split(DIVIDER)[1])

    def lane(self, name):
        """Two pieces of one target would write to the same corpus."""
        return name.split(DIVIDER)[0]

    def row(self, name):
        return (name.split(DIVIDER)[0],)


def executions(target):
    """All that have been noted for a target."""
    if not RECORD.exists():
        return 0
    runs = map(json.loads, RECORD.read_text(encoding="utf-8").splitlines())
    return sum(run["executions"] for run in runs if run["target"] == target)
