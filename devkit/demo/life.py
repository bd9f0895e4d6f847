# SPDX-License-Identifier: Apache-2.0
"""The daemon's life on the gateway: from its first start, through reboots, to its end."""
import signal
from collections.abc import Callable, Sequence
from pathlib import Path
from typing import Any, NamedTuple

from gateway import Daemon, Gateway, Supervisor

from .daemon_log import Follower
from .failure import DemoFailure


class Reboot(NamedTuple):
    """The gateway has rebooted; the daemon is about to be started again.

    ended     what ended the daemon: its exit status, or the negative number of a signal
    firmware  the version that runs now
    kept      what is still in /tmp
    options   arguments that the daemon gets in addition to its own
    """

    ended: int
    firmware: str
    kept: tuple[str, ...]
    options: tuple[str, ...]


class Life:
    """Keeps the daemon running as the gateway's init does, and passes on what happens.

    take  gets a Reboot for every reboot and a Record for every line of the log, in order
    """

    def __init__(self, gateway: Gateway, command: Sequence[str | Path], take: Callable[[Any], None]) -> None:
        self._gateway = gateway
        self._command = command
        self._take = take
        self._follower: Follower | None = None
        self._supervisor = Supervisor(gateway, self._launch)
        self.daemon: Daemon | None = None

    @property
    def reboots(self) -> int:
        return self._supervisor.reboots

    def start(self) -> None:
        self._supervisor.start()

    def check(self) -> None:
        """Raises DemoFailure when the daemon has ended by itself."""
        self._supervisor.check()

    def stop(self) -> None:
        """Stops watching; what the daemon has written so far is passed on."""
        self._supervisor.stop()
        self._stop_following()

    def end(self) -> int:
        """Asks the daemon to stop, and returns its exit status."""
        self._supervisor.stop()
        status = self._supervisor.daemon.terminate(timeout=30)
        self._stop_following()
        return status

    def _stop_following(self) -> None:
        if self._follower:
            self._follower.stop()

    def _launch(self, *options: str) -> Daemon:
        if self.daemon:
            ended = self.daemon.wait()
            self._stop_following()
            if ended != -signal.SIGKILL or not options:
                raise DemoFailure(f"the daemon has ended by itself, with status {ended}")
            self._take(Reboot(ended, self._gateway.firmware, tuple(self._gateway.leftovers()), options))
        self.daemon = self._gateway.start_daemon([*self._command, *options])
        self._follower = Follower(self.daemon, self._take)
        return self.daemon
