# SPDX-License-Identifier: Apache-2.0
"""Every system call of a release of all part types, with every fault that it may have; then all is well."""
import collections
import contextlib

import tracer
from history import Violation, demand
from injection import FAULTS, FAULTS_OF_CHILDREN, FIRST, KILL, PROCESSES, Injection, TracedHistory
from part import DIVIDER, KNOWN_LIMIT, VIOLATION, Part

# The third differs from the second only in who asks the gateway to poll.
OPTIONS = ("none", "shipped")
# Without options, see docs/recovery.md: a script that was reported as started counts as done, and the file of a chunk
# that is passed over later stays until the next boot.
LIMITS = ("reported as finished without script", "left behind: ")
# The same script if the server has taken that report, and its answer is lost.
LIMIT_OF_LOST_ANSWERS, CALL_OF_ANSWERS = "reported as finished without script", "recvfrom"
# With strict_resume, too: no note can be written in the same moment in which the script begins.
LIMIT_OF_RECORDS = "reported as finished without script"
# A program whose shell cannot be executed counts as one that has succeeded and written nothing.
LIMIT_OF_CHILDREN = "reported as finished without "
# The call that would have failed was not made: the histories of a program with threads differ by a few calls.
NOT_MADE = "not made"
# The call was made so that the daemon follows the virtual clock, as it does on no gateway.
THE_CLOCKS = "the clock's"
# The loader of programs makes the first of these before the program begins, and crashes without it: any program's does.
THE_LOADERS = "the loader's"
CALL_OF_THE_LOADER = ("mmap", 1, "ENOMEM")
# The daemon could not learn that a tool has succeeded, and has said so.
CAUTIOUS = "error, all there"


def injections(process, place, faults, counts):
    """Each fault of each call, of a thread or the children of a process that has made so many calls."""
    return [Injection(process, call, number, fault, place) for call, kinds in faults.items()
            for number in range(1, counts.get(call, 0) + 1) for fault in kinds]


def name_of(options, injection):
    """The case's name."""
    where = f"process {injection.process}"
    if injection.place != FIRST:
        where += ", children" if injection.place == tracer.CHILDREN else f", thread {injection.place}"
    return DIVIDER.join([options, where, f"{injection.call} {injection.number}", injection.fault])


class Cases(Part):
    """A case is the options of the gateway, a process of the daemon, the number of a call, and a fault."""

    summary = "each system call of a release of all part types with each fault"
    columns = ("Options", "Call", "Fault")

    def __init__(self, workshop):
        super().__init__(workshop)
        self._undisturbed = {}

    def cases(self):
        return {name_of(options, injection): (options, injection)
                for options in OPTIONS for injection in self._injections(options)}

    def _injections(self, options):
        _, calls = self._undisturbed_history(options)
        for process in PROCESSES:
            yield from injections(process, FIRST, FAULTS, calls[process])
        if tracer.IS_AVAILABLE:
            for process, others in self._calls_of_others(options).items():
                for place, counts in others.items():
                    faults = FAULTS_OF_CHILDREN if place == tracer.CHILDREN else FAULTS
                    yield from injections(process, place, faults, counts)

    def row(self, name):
        options, place, call, fault = name.split(DIVIDER)
        return options, call.split()[0] + (", other threads" if "thread" in place else ""), fault

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
                return self._name(options, injection, str(error), history), str(error)[:600]

    @staticmethod
    def _name(options, injection, error, history):
        if history.has_hit_the_clock():
            return THE_CLOCKS
        if history.crashes():
            is_loaders = (injection.call, injection.number, injection.fault) == CALL_OF_THE_LOADER
            return THE_LOADERS if is_loaders and injection.place == FIRST else VIOLATION
        if (injection.fault == KILL and error == LIMIT_OF_RECORDS
                and history.has_left_only_the_record_of_a_script()):
            return KNOWN_LIMIT
        if options == "none" and injection.fault == KILL and error.startswith(LIMITS):
            return KNOWN_LIMIT
        if options == "none" and injection.call == CALL_OF_ANSWERS and error == LIMIT_OF_LOST_ANSWERS:
            return KNOWN_LIMIT
        if injection.place == tracer.CHILDREN and error.startswith(LIMIT_OF_CHILDREN):
            return KNOWN_LIMIT
        return CAUTIOUS if error.startswith("reported as failed, but everything is there") else VIOLATION

    def _history(self, options, injection=None):
        return TracedHistory(self.workshop.make_directory(), self.workshop.pki, options, injection)

    def _calls_of_others(self, options):
        """Of each process: how often each place that is not its first thread has made each call."""
        found = {process: collections.defaultdict(dict) for process in PROCESSES}
        with contextlib.closing(TracedHistory(self.workshop.make_directory(), self.workshop.pki, options,
                                              of_others=True)) as history:
            history.play()
            for process in PROCESSES:
                for (place, call), count in history.calls_of_others(process).items():
                    found[process][place][call] = count
        return found

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
