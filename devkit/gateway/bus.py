# SPDX-License-Identifier: Apache-2.0
"""The message bus of the simulated gateway: its broker, and the command that local software uses."""
import json
import os
import shutil
import signal
import socket
import time
from pathlib import Path
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from .gateway import Daemon, Gateway

SOCKET_NAME = "ubus.sock"
PROGRAMS = ("ubusd", "ubus")
START_TIMEOUT = 60


class BusError(Exception):
    """A call on the bus failed; `status` is the exit status of the command."""

    def __init__(self, text: str, status: int | None) -> None:
        super().__init__(text)
        self.status = status


class Bus:
    """Runs the broker of one gateway, which creates, starts and ends it.

    programs  directory of the broker and the command; without one there is no bus
    """

    def __init__(self, gateway: "Gateway", programs: str | Path | None) -> None:
        self._gateway = gateway
        self._directory = gateway.run_dir / "run/ubus"
        self._broker: Daemon | None = None
        self.exists = programs is not None
        if programs is not None:
            for name in PROGRAMS:
                shutil.copy(Path(programs) / name, gateway.run_dir / "sbin" / name)

    @property
    def log(self) -> str:
        """What the broker has printed."""
        return self._broker.log if self._broker else ""

    def start(self) -> None:
        """Starts the broker and waits until it takes connections."""
        broker = self._broker = self._gateway.start_program(["ubusd"], "ubusd")
        deadline = time.monotonic() + START_TIMEOUT
        while not self._takes_connections():
            if not broker.is_running() or time.monotonic() > deadline:
                raise AssertionError(f"ubusd does not serve:\n{broker.log}")
            time.sleep(0.005)

    def kill(self) -> None:
        """Ends the broker as a crash would: its socket stays behind."""
        self._running().kill()

    def signal(self, number: int) -> None:
        """Sends the broker a signal, for example SIGSTOP or SIGCONT."""
        self._running().signal(number)

    def stop(self) -> None:
        """Asks the broker to end and waits until it has."""
        self._running().signal(signal.SIGTERM)
        self._running().wait()

    def command(self, *arguments: object, timeout: int = 30, simple: bool = True) -> "Daemon":
        """Runs `ubus` to its end and returns it.

        timeout  how many seconds the command waits for a reply
        simple   for programs: a reply is one line, a failure is told by the exit status alone
        """
        program = self._gateway.start_program(
            ["ubus", *(["-S"] if simple else []), "-t", str(timeout), *map(str, arguments)], "ubus")
        program.wait()
        return program

    def call(self, method: str, arguments: Any = None, target: str = "zephran") -> Any:
        """Calls a method and returns its reply; BusError when the call fails.

        arguments  text as it is, or what is to be sent as JSON
        """
        words = [] if arguments is None else [
            arguments if isinstance(arguments, str) else json.dumps(arguments)]
        program = self.command("call", target, method, *words)
        if program.exit_status != 0:
            raise BusError(f"ubus call {target} {method} ended with {program.exit_status}", program.exit_status)
        return json.loads(program.out)

    def objects(self) -> list[str]:
        """Names of all objects on the bus."""
        return self.command("list").out.split()

    def _running(self) -> "Daemon":
        if self._broker is None:
            raise AssertionError("the gateway's broker was never started")
        return self._broker

    def _takes_connections(self) -> bool:
        # Going through a descriptor keeps the path below the length limit for sockets.
        directory = os.open(self._directory, os.O_PATH)
        try:
            with socket.socket(socket.AF_UNIX) as probe:
                probe.connect(f"/proc/self/fd/{directory}/{SOCKET_NAME}")
            return True
        except OSError:
            return False
        finally:
            os.close(directory)
