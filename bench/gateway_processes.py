# SPDX-License-Identifier: Apache-2.0
"""The processes of simulated gateways, as the machine sees them."""
import pathlib
import re


def daemon_of(bench):
    """The process id of a gateway's daemon outside of the gateway."""
    daemon = bench.gateway.daemons[-1]
    for pid in _descendants(bench.gateway.outer_pid):
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
        if int(re.search(r"^NSpid:.*?(\d+)$", status, re.M)[1]) == daemon.pid:
            return pid
    raise ProcessLookupError(f"there is no process for {daemon.pid} in the gateway")


def cpu_clock(pid):
    """The number of a process's CPU clock; it covers all threads, including those that have ended."""
    return (~pid) << 3 | 2


def _descendants(pid):
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        for child in map(int, (task / "children").read_text().split()):
            yield child
            yield from _descendants(child)
