# SPDX-License-Identifier: Apache-2.0
"""Years of a gateway: a deployment for every hundred polls, and whether anything grows."""
import contextlib
import dataclasses
import json

from long_life import POLLS_OF_A_PIECE, Life, judge
from part import DIVIDER, VIOLATION, Part

# Pieces of a hundred polls and a deployment. The short ones are for a quick look, the last ones are a year each.
LENGTHS = (20, 100, 1000)


class Cases(Part):
    """A case is the options of the gateway, and how long it lives."""

    summary = "up to 100,000 polls and 1,000 deployments: memory, descriptors, threads, zombies and log do not grow"
    columns = ("Options", "Polls")

    def cases(self):
        return {DIVIDER.join([options, f"{pieces * POLLS_OF_A_PIECE} polls"]): (options, pieces)
                for pieces in LENGTHS for options in ("none", "shipped")}

    def length(self, name):
        return self.cases()[name][1]

    def run(self, case):
        options, pieces = case
        with contextlib.closing(Life(self.workshop.make_directory(), self.workshop.pki, options)) as life:
            samples = [life.live() for _ in range(pieces)]
        kept = self.workshop.kept / f"long-life-{options}-{pieces}.jsonl"
        kept.write_text("".join(json.dumps(dataclasses.asdict(sample)) + "\n" for sample in samples), encoding="utf-8")
        found = judge(samples)
        details = ", ".join(f"{name} {trend.slope:.2g} ± {trend.error:.2g}" for name, (trend, _) in found.items())
        is_flat = all(is_flat for _, is_flat in found.values())
        return "nothing grows" if is_flat else VIOLATION, f"for each poll: {details}; samples in {kept}"
