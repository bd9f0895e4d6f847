# SPDX-License-Identifier: Apache-2.0
"""Every exchange of a release of all part types, with every trouble: one is disturbed, then all is well."""
import contextlib

from history import OPTIONS, History, Violation, demand
from part import DIVIDER, KNOWN_LIMIT, VIOLATION, Part
from troubles import TROUBLES

# Without options a script that was reported as started counts as done, see docs/recovery.md.
UNRUN_SCRIPT = "reported as finished without script"


class Cases(Part):
    """A case is the options of the gateway, an exchange of its undisturbed history, and a trouble."""

    summary = "each exchange of a release of all part types with each trouble"

    def __init__(self, workshop):
        super().__init__(workshop)
        self._undisturbed = {}

    def cases(self):
        found = {}
        for options in OPTIONS:
            for exchange in self._exchanges_of(options):
                for trouble in TROUBLES:
                    if trouble.make(exchange) is not None:
                        place = f"{exchange.number} {exchange.kind}"
                        found[DIVIDER.join([options, place, trouble.name])] = options, exchange, trouble
        return found

    def run(self, case):
        options, exchange, trouble = case
        with contextlib.closing(self._history(options)) as history:
            try:
                order = history.play(exchange, trouble)
                demand(order.hits == 1, "the trouble did not come about")
                return history.judge(self._exchanges_of(options)), ""
            except (Violation, TimeoutError, AssertionError) as error:
                is_known = options == "none" and str(error) == UNRUN_SCRIPT
                return KNOWN_LIMIT if is_known else VIOLATION, str(error)[:300]

    def _history(self, options):
        return History(self.workshop.make_directory(), self.workshop.pki, options)

    def _exchanges_of(self, options):
        if options not in self._undisturbed:
            with contextlib.closing(self._history(options)) as history:
                history.play()
                exchanges = history.exchanges()
                history.judge(exchanges)
                self._undisturbed[options] = exchanges
        return self._undisturbed[options]
