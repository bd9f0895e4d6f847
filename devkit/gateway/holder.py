# SPDX-License-Identifier: Apache-2.0
"""The first process inside the simulated gateway: keeps it alive and starts programs in it.

gateway.py starts it in new mount and process namespaces. It takes orders, one JSON object a datagram, from the
socket on its standard input. When that socket closes, or when this process is killed, the kernel ends every
process of the gateway and removes its mounts.
"""
import contextlib
import json
import os
import signal
import socket
import sys
from collections.abc import Mapping, Sequence
from typing import Any

import kernel
import rooms

# The caller's shell may ignore some signals; programs on a gateway start with none ignored.
DEFAULT_SIGNALS = signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}


class Holder:
    """Carries out orders: one of the form {"do": NAME, ...} calls do_NAME, whose result is the answer."""

    def __init__(self, orders: socket.socket) -> None:
        self.orders = orders
        self.statuses: dict[int, int] = {}
        self.kept_in_tmp: list[str] = []

    def serve(self) -> None:
        while True:
            data, handles, _, _ = socket.recv_fds(self.orders, 1 << 20, 2)
            if not data:
                return
            for handle in handles:
                os.set_inheritable(handle, False)
            order = json.loads(data)
            try:
                answer = getattr(self, "do_" + order.pop("do"))(handles=handles, **order)
            except OSError as error:
                answer = {"error": str(error)}
            for handle in handles:
                os.close(handle)
            self.orders.send(json.dumps(answer).encode())

    def do_boot(self, handles: Sequence[int], kept: Sequence[str], tmp_size: str, stage: str,
                covers: Mapping[str, Mapping[str, str]]) -> dict[str, Any]:
        # The id of this process outside of the gateway.
        outer_pid = int(os.readlink("/proc/self"))
        self.kept_in_tmp = rooms.private_tmp(kept, tmp_size)
        os.makedirs(stage, exist_ok=True)
        for directory, own in covers.items():
            rooms.cover(directory, stage, own)
        # Tools that inspect themselves through /proc need one with the ids of this namespace.
        kernel.mount("proc", "/proc", "proc",
                     flags=kernel.MS_NOSUID | kernel.MS_NODEV | kernel.MS_NOEXEC)
        return {"pid": outer_pid, "kept_in_tmp": self.kept_in_tmp}

    def do_start(self, handles: Sequence[int], argv: list[str], env: dict[str, str]) -> dict[str, Any]:
        actions: list[tuple[Any, ...]] = [
            (os.POSIX_SPAWN_DUP2, handles[0], 1), (os.POSIX_SPAWN_DUP2, handles[1], 2),
            (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0)]
        return {"pid": os.posix_spawnp(argv[0], argv, env, file_actions=actions, setsid=True,
                                       setsigdef=DEFAULT_SIGNALS)}

    def do_signal(self, handles: Sequence[int], pid: int, number: int) -> dict[str, Any]:
        self._reap()
        if pid not in self.statuses:
            os.kill(pid, number)
        return {}

    def do_status(self, handles: Sequence[int], pid: int) -> dict[str, Any]:
        self._reap()
        return {"status": self.statuses.get(pid)}

    def do_power_off(self, handles: Sequence[int]) -> dict[str, Any]:
        """Ends everything that runs, as a power cut does, and empties /tmp."""
        with contextlib.suppress(ProcessLookupError):
            os.kill(-1, signal.SIGKILL)
        while self._reap(wait=True):
            pass
        rooms.empty_tmp(self.kept_in_tmp)
        return {}

    def _reap(self, wait: bool = False) -> bool:
        """Notes the end of children, including adopted ones. True if there may be more."""
        try:
            pid, status = os.waitpid(-1, 0 if wait else os.WNOHANG)
            while pid:
                self.statuses[pid] = os.waitstatus_to_exitcode(status)
                pid, status = os.waitpid(-1, 0 if wait else os.WNOHANG)
        except ChildProcessError:
            return False
        return True


if __name__ == "__main__":
    # A Ctrl-C in the developer's terminal is meant for the test run, which then ends the gateway.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    os.chdir("/")
    Holder(socket.socket(fileno=os.dup(0))).serve()
    sys.exit(0)
