# SPDX-License-Identifier: Apache-2.0
"""Plays procd and the boot loader: restarts the daemon when it has ended, and reboots the gateway."""
import threading
from collections.abc import Callable, Sequence
from typing import Self

from .gateway import Daemon, Gateway

# Seconds. procd would wait five between two starts, which would only slow the tests down.
STEP = 0.1


class Supervisor:
    """Keeps a daemon running, and reboots the gateway when its firmware tool asks for that.

    gateway       the gateway to watch over
    start         function that starts the daemon with the given additional arguments, and returns it
    after_reboot  the additional arguments after the reboot of a firmware installation, until the next boot
    most_starts   limit of starts, above which the daemon counts as broken
    """

    def __init__(self, gateway: Gateway, start: Callable[..., Daemon],
                 after_reboot: Sequence[str] = ("--dormant", "true"), most_starts: int = 20) -> None:
        self.gateway = gateway
        self.daemons: list[Daemon] = []
        self.reboots = 0
        self._start = start
        self._after_reboot = after_reboot
        self._arguments: Sequence[str] = ()
        self._most_starts = most_starts
        self._lock = threading.RLock()
        self._stopping = threading.Event()
        self._error: Exception | None = None
        self._thread = threading.Thread(target=self._watch, daemon=True)

    def __enter__(self) -> Self:
        return self.start()

    def __exit__(self, *_: object) -> None:
        self.stop()

    @property
    def daemon(self) -> Daemon:
        """The daemon that was started last."""
        return self.daemons[-1]

    def start(self) -> Self:
        """Starts the daemon and the watch over it."""
        self._launch()
        self._thread.start()
        return self

    def stop(self) -> None:
        """Ends the watch; the daemon stays as it is. Raises what went wrong while watching."""
        self._stopping.set()
        self._thread.join()
        self.check()

    def check(self) -> None:
        """Raises what went wrong while watching."""
        if self._error:
            raise self._error

    def power_cut(self, *arguments: str) -> None:
        """Switches the gateway off and on; the daemon starts again with these arguments added."""
        with self._lock:
            self.gateway.reboot_request.unlink(missing_ok=True)
            self.gateway.reboot()
            self._arguments = arguments
            self._launch()

    def _watch(self) -> None:
        try:
            while not self._stopping.wait(STEP):
                with self._lock:
                    self._look_after()
        except Exception as error:  # the next call of check() raises it
            self._error = error

    def _look_after(self) -> None:
        if self.gateway.reboot_request.exists():
            self.reboots += 1
            self.power_cut(*self._after_reboot)
        elif not self.daemon.is_running():
            self._launch()

    def _launch(self) -> None:
        if len(self.daemons) == self._most_starts:
            raise AssertionError(f"the daemon was started {self._most_starts} times and has ended "
                                 f"with {self.daemon.exit_status}, log:\n{self.daemon.log[-6000:]}")
        self.daemons.append(self._start(*self._arguments))
