# SPDX-License-Identifier: Apache-2.0
"""Every system call of a release of all part types, with every fault that it may have; then all is well."""
import contextlib

from history import Violation, demand
from injection import FAULTS, KILL, PROCESSES, Injection, TracedHistory
from part import DIVIDER, KNOWN_LIMIT, VIOLATION, Part

# The third differs from the second only in who asks the gateway to poll.
OPTIONS = ("none", "shipped")
# Without options, see docs/recovery.md: a script that was reported as started counts as done, and the file of a chunk
# that is passed over later stays until the next boot.
LIMITS = ("reported as finished without script", "left behind: ")
# The call that would have failed was not made: the histories of a program with threads differ by a few calls.
NOT_MADE = "not made"
# The daemon could not learn that a tool has succeeded, and has said so.
CAUTIOUS = "error, all there"


class Cases(Part):
    """A case is the options of the gateway, a process of the daemon, the number of a call, and a fault."""

    summary = "each system call of a release of all part types with each fault"
    columns = ("Options", "Call", "Fault")

    def __init__(self, workshop):
        super().__init__(workshop)
        self._undisturbed = {}

    def cases(self):
        found = {}
        for options in OPTIONS:
            _, calls = self._undisturbed_history(options)
            for process in PROCESSES:
                for call, faults in FAULTS.items():
                    for number in range(1, calls[process][call] + 1):
                        for fault in faults:
                            name = DIVIDER.join([options, f"process {process}", f"{call} {number}", fault])
                            found[name] = options, Injection(process, call, number, fault)
        return found

    def row(self, name):
        options, _, call, fault = name.split(DIVIDER)
        return options, call.split()[0], fault

    def run(self, case):
        options, injection = case
        with contextlib.closing(self._history(options, injection)) as history:
            try:
                history.play()
                if not history.has_come_about():
                    return NOT_MADE, ""
                outcome = history.judge(self._undisturbed_history(options)[0])
                demand(not history.crashes(), f"ended with {history.crashes()}")
                return outcome, ""
            except (Violation, TimeoutError, AssertionError) as error:
                return self._name(options, injection, str(error), history.crashes()), str(error)[:600]

    @staticmethod
    def _name(options, injection, error, crashes):
        if crashes:
            return VIOLATION
        if options == "none" and injection.fault == KILL and error.startswith(LIMITS):
            return KNOWN_LIMIT
        return CAUTIOUS if error.startswith("reported as failed, but everything is there") else VIOLATION

    def _history(self, options, injection=None):
        return TracedHistory(self.workshop.make_directory(), self.workshop.pki, options, injection)

    def _undisturbed_history(self, options):
        """Its exchanges, and the calls of each process."""
        if options not in self._undisturbed:
            with contextlib.closing(self._history(options)) as history:
                history.play()
                exchanges = history.exchanges()
                calls = {process: history.calls(process) for process in PROCESSES}
                history.judge(exchanges)
                self._undisturbed[options] = exchanges, calls
        return self._undisturbed[options]
