# SPDX-License-Identifier: Apache-2.0
"""The kernel's view of a program in the simulated gateway."""
import pathlib
import re
import signal
import time


def process_directory(program):
    outside = program.gateway.outer_pid
    return pathlib.Path(f"/proc/{outside}/root/proc/{program.pid}")


def dispositions(status_text):
    """The signals that a process catches and those that it ignores, from the text of its /proc/PID/status."""
    def signals(name):
        mask = int(re.search(rf"^{name}:\s+([0-9a-f]+)$", status_text, re.M).group(1), 16)
        return {number for number in signal.Signals if mask >> (number - 1) & 1}
    return signals("SigCgt"), signals("SigIgn")


def wake_ups(daemon, seconds):
    """How often each thread except the main one wakes up, per second.

    Time is measured in the daemon's own steps, so that pauses of the whole daemon do not count.
    """
    before, started = _switches(daemon), time.monotonic()
    for _ in range(seconds):
        daemon.wait_for_line("event=tick ", start=len(daemon.output.lines))
    after, ended = _switches(daemon), time.monotonic()
    return [(after[thread] - count) / (ended - started) for thread, count in before.items()
            if thread != str(daemon.pid)]


def _switches(daemon):
    return {task.name: int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)$",
                                     (task / "status").read_text(), re.M).group(1))
            for task in (process_directory(daemon) / "task").iterdir()}
