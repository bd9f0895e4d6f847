"""The message bus of the simulated gateway: its broker, and the command that local software uses."""
import json
import os
import pathlib
import shutil
import signal
import socket
import time

SOCKET_NAME = "ubus.sock"
PROGRAMS = ("ubusd", "ubus")
START_PATIENCE = 60


class BusError(Exception):
    """A call on the bus failed; `status` is the exit status of the command."""

    def __init__(self, text, status):
        super().__init__(text)
        self.status = status


class Bus:
    """Runs the broker of one gateway. Made by the gateway; starts and ends with it.

    programs  directory of the broker and the command; without one there is no bus
    """

    def __init__(self, gateway, programs):
        self._gateway = gateway
        self._directory = gateway.run_dir / "run/ubus"
        self._broker = None
        self.exists = programs is not None
        for name in PROGRAMS if self.exists else ():
            shutil.copy(pathlib.Path(programs) / name, gateway.run_dir / "sbin" / name)

    @property
    def log(self):
        """What the broker has said."""
        return self._broker.log if self._broker else ""

    def start(self):
        """Starts the broker and waits until it takes connections."""
        self._broker = self._gateway.start_program(["ubusd"], "ubusd")
        deadline = time.monotonic() + START_PATIENCE
        while not self._takes_connections():
            if not self._broker.is_running() or time.monotonic() > deadline:
                raise AssertionError(f"ubusd does not serve:\n{self._broker.log}")
            time.sleep(0.005)

    def kill(self):
        """Ends the broker as a crash would: its socket stays behind."""
        self._broker.kill()

    def signal(self, number):
        """For example SIGSTOP and SIGCONT."""
        self._broker.signal(number)

    def stop(self):
        self._broker.signal(signal.SIGTERM)
        self._broker.wait()

    def command(self, *arguments, patience=30):
        """Runs the command line to its end and returns it."""
        program = self._gateway.start_program(
            ["ubus", "-S", "-t", str(patience), *map(str, arguments)], "ubus")
        program.wait()
        return program

    def call(self, method, arguments=None, target="zephran"):
        """Calls a method and returns its reply."""
        words = [] if arguments is None else [
            arguments if isinstance(arguments, str) else json.dumps(arguments)]
        program = self.command("call", target, method, *words)
        if program.exit_status != 0:
            raise BusError(program.err.strip(), program.exit_status)
        return json.loads(program.out)

    def objects(self):
        return self.command("list").out.split()

    def _takes_connections(self):
        # The way through the descriptor is shorter than the limit for paths of sockets.
        directory = os.open(self._directory, os.O_PATH)
        try:
            with socket.socket(socket.AF_UNIX) as probe:
                probe.connect(f"/proc/self/fd/{directory}/{SOCKET_NAME}")
            return True
        except OSError:
            return False
        finally:
            os.close(directory)
