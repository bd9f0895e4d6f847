# SPDX-License-Identifier: Apache-2.0
"""Every row of the tables of docs/recovery.md for a power cut, with the outcome that was written down beforehand."""
import contextlib

from cuts import ADAPTERS, IN_TOOL, Adapters, OnePart
from history import Violation
from part import DIVIDER, VIOLATION, Part
from power_cut_rows import EXPECTED

AS_WRITTEN = "as written"
REPORTS_OF_ONE = 3


def cuts_of_adapters():
    """How to interrupt the deployments of all adapters, and how many images are sent then, by name."""
    count = len(ADAPTERS)
    found = {}
    for number in range(1, count + 1):
        found[f"download {number}"] = (lambda history, n=number: history.run_into_download(n)), count
        for name, when in IN_TOOL.items():
            found[f"{name}, adapter {number}"] = (
                lambda history, n=number, when=when: history.run_into_tool("l2fwserver", when, n)), count + 1
    for number in range(1, count * REPORTS_OF_ONE + 1):
        for is_taken in (False, True):
            found[f"{'after' if is_taken else 'before'} report {number} is taken"] = (
                lambda history, n=number, is_taken=is_taken: history.run_into_report(n, is_taken)), count
    return found


class Cases(Part):
    """A case is the options of the gateway, a part type or the adapters, and the moment of the cut."""

    summary = "a power cut at each moment of each installer, and of several adapters"
    columns = ("Options", "Part type")

    def cases(self):
        found = {}
        for options, parts in EXPECTED.items():
            for part, rows in parts.items():
                for moment, outcome in rows.items():
                    found[DIVIDER.join([options, part, moment])] = self._one(options, part, moment), outcome
            for moment, (interrupt, images) in cuts_of_adapters().items():
                found[DIVIDER.join([options, "adapters", moment])] = self._adapters(options, interrupt), images
        return found

    def row(self, name):
        return tuple(name.split(DIVIDER)[:2])

    def run(self, case):
        begin, expected = case
        with contextlib.ExitStack() as stack:
            try:
                history = begin(stack)
                history.judge(expected)
                return AS_WRITTEN, ""
            except (Violation, TimeoutError, AssertionError) as error:
                return VIOLATION, str(error)[:600]

    def _one(self, options, part, moment):
        def begin(stack):
            history = OnePart(self.workshop.make_directory(), self.workshop.pki, options, part)
            stack.enter_context(contextlib.closing(history))
            history.run_into(moment)
            return history
        return begin

    def _adapters(self, options, interrupt):
        def begin(stack):
            history = Adapters(self.workshop.make_directory(), self.workshop.pki, options)
            stack.enter_context(contextlib.closing(history))
            interrupt(history)
            return history
        return begin
