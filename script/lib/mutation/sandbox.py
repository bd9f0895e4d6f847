# SPDX-License-Identifier: Apache-2.0
"""Runs a changed program so that it harms nothing: what it removes, kills or fills is its own.

The file system is read-only except for an empty /tmp, and no process outside can be seen or signalled: a mutation may
well turn `kill(-child)` into `kill(-1)`.
"""
from __future__ import annotations

import os
import resource
import signal
import subprocess
from dataclasses import dataclass

MEMORY_LIMIT = 4 << 30
# Tests that go on as another user write it, too.
LOG = "/tmp/log/reached"
LOG_MARK = "== reached =="
SHELL = f"""mount -o remount,ro,bind / && mount -t tmpfs none /tmp && mkdir /tmp/home && cd /tmp/home || exit 125
mkdir -m 777 /tmp/log && : >{LOG} && chmod 666 {LOG} || exit 125
setsid --wait "$@" </dev/null; status=$?
if [ -n "$ZEPHRAN_MUTANT_LOG" ]; then echo '{LOG_MARK}'; cat {LOG} 2>/dev/null; fi
exit $status"""


@dataclass(frozen=True)
class Outcome:
    """How a program ended; the status is None if it took too long."""

    status: int | None
    output: str


def sandboxed(program: list[str]) -> list[str]:
    """The command that runs the program apart from everything else, at most as long as this process lives."""
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    return ["setpriv", "--pdeathsig", "KILL",
            "unshare", *user, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
            "sh", "-c", SHELL, "sh", *program]


def run(program: list[str], seconds: float, environment: dict[str, str]) -> Outcome:
    """Runs it for this long at most."""
    def limit() -> None:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        # Tests of signals fail below a nohup, and in what a shell runs in the background.
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
            signal.signal(number, signal.SIG_DFL)

    # With the user's TMPDIR, programs would look for a directory that they cannot write to.
    inherited = {name: value for name, value in os.environ.items()
                 if not name.startswith(("ZEPHRAN_", "GTEST_", "TMPDIR"))}
    with subprocess.Popen(sandboxed(program), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", env=inherited | environment, preexec_fn=limit,
                          start_new_session=True) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return Outcome(None, "")
    return Outcome(process.returncode, output)
