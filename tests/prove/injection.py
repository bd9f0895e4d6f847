# SPDX-License-Identifier: Apache-2.0
"""System calls of the daemon that fail, or that it does not survive.

Those of the thread that the daemon starts with are strace's, those of its other threads are tracer.py's. Neither
follows a tool, which has no trouble of its own; but a child's execve, which begins it, can fail.
"""
import collections
import dataclasses
import json
import pathlib
import re

import tracer
from history import History

STRACE = "/usr/bin/strace"
TRACER = ["/usr/bin/python3", "-B", "-S", pathlib.Path(tracer.__file__)]
FIRST = "1"
# The daemon's starts in an undisturbed history: before the reboot of the firmware, and after it.
PROCESSES = (1, 2)
KILL = "KILL"
# What each call may fail with by its manual page, and what a failing flash, a full one or a killer brings.
FAULTS = {
    "write": ("ENOSPC", "EIO", "EINTR", KILL),
    "openat": ("ENOSPC", "EIO", "EINTR", "ENOMEM", "EMFILE", KILL),
    "rename": ("ENOSPC", "EIO", "ENOMEM", KILL),
    "fsync": ("ENOSPC", "EIO", "EINTR", KILL),
    "read": ("EIO", "EINTR", KILL),
    "connect": ("EIO", "EINTR", "ENOMEM", KILL),
    "mmap": ("ENOMEM", KILL),
    "pipe2": ("EMFILE", KILL),
    "vfork": ("ENOMEM", KILL),
    "clone3": ("ENOMEM", KILL),
    "waitid": ("EINTR", "EIO", KILL),
    "wait4": ("EINTR", "EIO", KILL),
    "sendto": ("EIO", "EINTR", "ENOMEM", KILL),
    "recvfrom": ("EIO", "EINTR", "ENOMEM", KILL),
}
# Only children make these. The file is not there, not to be executed, or there is no memory for it.
FAULTS_OF_CHILDREN = {"execve": ("ENOENT", "EACCES", "ENOMEM")}
CALL = re.compile(r"^(\w+)\(", re.M)
# What the library with the virtual clock, and the loader without it, say when a call of theirs has failed.
WITHOUT_CLOCK = re.compile(r"^virtual time: .* is not the file of a clock$|from LD_PRELOAD cannot be preloaded", re.M)
RECORD_OF_SCRIPT = re.compile(r"\bbegun_installation\b.*\bscript:")


@dataclasses.dataclass(frozen=True)
class Injection:
    """The fault of the number-th call of a kind, from 1, in one of the PROCESSES.

    place  the number of the thread, in the order in which they begin, or tracer.CHILDREN
    """

    process: int
    call: str
    number: int
    fault: str
    place: str = FIRST

    def expression(self):
        """For strace."""
        what = f"signal={KILL}" if self.fault == KILL else f"error={self.fault}"
        return f"inject={self.call}:{what}:when={self.number}"


class TracedHistory(History):
    """A history in which each of the PROCESSES is traced, or only the one with a fault.

    of_others  whether the calls of all threads and children are counted, instead of the first thread's
    """

    def __init__(self, directory, pki, options, injection=None, of_others=False, **release):
        super().__init__(directory, pki, options, **release)
        self._injection = injection
        self._of_others = of_others or (injection is not None and injection.place != FIRST)
        self._starts = 0
        self._scripts_only_recorded = 0
        self.bench.wrap = self._trace

    def calls(self, process):
        """How often the first thread of one of the processes has made each call."""
        return collections.Counter(CALL.findall(self._trace_file(process).read_text(errors="replace")))

    def number_of_call(self, process, call, what):
        """The place of the call with this among its arguments, from 1, in the first thread of one of the processes."""
        lines = self._trace_file(process).read_text(errors="replace").splitlines()
        calls = [line for line in lines if line.startswith(f"{call}(")]
        return 1 + next(place for place, line in enumerate(calls) if what in line)

    def calls_of_others(self, process):
        """How often a thread, or the children, of one of the processes have made each call, by (place, call)."""
        lines = self._trace_file(process).read_text().splitlines()
        return collections.Counter(tuple(line.split()) for line in lines if not line.startswith(FIRST + " "))

    def has_come_about(self):
        """Whether the call was made that was to fail."""
        text = self._trace_file(self._injection.process)
        return text.exists() and (tracer.INJECTED in (trace := text.read_text(errors="replace"))
                                  or "+++ killed" in trace)

    def start_daemon(self, *more):
        self._scripts_only_recorded += self._is_script_recorded() and "script" in self.missing_parts()
        return super().start_daemon(*more)

    def has_left_only_the_record_of_a_script(self):
        """Whether a daemon has ended between its note that the script begins and the script."""
        return self._scripts_only_recorded > 0

    def has_hit_the_clock(self):
        """Whether the call was none of the daemon's, but one that makes it follow the virtual clock."""
        return any(WITHOUT_CLOCK.search(daemon.log) for daemon in self.bench.gateway.daemons)

    def crashes(self):
        """Exit statuses of daemons that were ended by a signal that nobody has sent."""
        return [daemon.exit_status for daemon in self.bench.gateway.daemons
                if (daemon.exit_status or 0) < 0 and daemon.exit_status != -9]

    def _is_script_recorded(self):
        """Also where that is not committed yet."""
        uncommitted = self.bench.gateway.tmp / ".uci/zephran"
        text = uncommitted.read_text(encoding="utf-8") if uncommitted.exists() else ""
        return RECORD_OF_SCRIPT.search(self.bench.gateway.config("zephran") + text) is not None

    def _trace(self, command, env):
        self._starts += 1
        injection = self._injection
        if self._starts != (injection.process if injection else self._starts):
            return command, env
        return self._trace_others(command, env) if self._of_others else self._trace_first(command, env)

    def _trace_others(self, command, env):
        injection = self._injection
        fault = ["--fault", injection.place, injection.call, injection.number, injection.fault] if injection else []
        return [*TRACER, *fault, self._trace_file(self._starts), json.dumps(env), *command], {}

    def _trace_first(self, command, env):
        injection = self._injection
        expressions = ["-e", f"trace={injection.call}", "-e", injection.expression()] if injection else []
        # -D: the daemon has to be the child of who starts it. strace itself is not to follow the virtual clock.
        passed = [word for name, value in env.items() for word in ("-E", f"{name}={value}")]
        return [STRACE, "-D", "-q", "-o", self._trace_file(self._starts), *expressions, *passed, *command], {}

    def _trace_file(self, process):
        return self.bench.gateway.run_dir / f"log/trace-{process}"
