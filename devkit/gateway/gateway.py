# SPDX-License-Identifier: Apache-2.0
"""The simulated gateway from outside: the interface for tests and the demonstration."""
import json
import os
import signal
import socket
import subprocess
import sys
import threading
import time
from collections.abc import Collection, Iterable, Mapping, Sequence
from pathlib import Path
from re import Match
from typing import Any, Self

from .bus import Bus
from .equipment import HERE, Equipment
from .kernel import die_with_parent
from .terminal import Output

PROJECT = HERE.parent.parent
# The holder runs in a bare system, which has the system's own interpreter only.
PYTHON = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable
GONE = b'{"error": "its first process is gone; may this user make namespaces here?"}'
# Seconds. Programs are slow on a busy machine, and slower still with sanitizers.
TIMEOUT = 180
# In the gateway's /tmp; it is the one that the package names.
DOWNLOADS = "zephran"
GATEWAY_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


class GatewayError(Exception):
    """The gateway could not be built, or refused an order."""


class Daemon:
    """A program that was started in a gateway."""

    def __init__(self, gateway: "Gateway", pid: int, output: Output) -> None:
        self.gateway = gateway
        self.pid = pid
        self.output = output
        self._status: int | None = None

    @property
    def log(self) -> str:
        """Everything written so far, in the order in which it came."""
        return self.output.text()

    @property
    def out(self) -> str:
        """What it has written to its standard output."""
        return self.output.text("out")

    @property
    def err(self) -> str:
        """What it has written to its standard error."""
        return self.output.text("err")

    @property
    def exit_status(self) -> int | None:
        """None while it runs; a negative signal number if a signal ended it."""
        if self._status is None:
            self._status = self.gateway.order("status", pid=self.pid)["status"]
        return self._status

    def wait_for_line(self, pattern: str, timeout: float = TIMEOUT, start: int = 0) -> Match[str]:
        """Waits for a line that matches, and returns the match.

        start: number of the first line that counts, for example `len(daemon.output.lines)`
        """
        deadline = time.monotonic() + timeout
        while True:
            running = self.is_running()
            if not running:
                self.output.join(2)
            match, start = self.output.wait_for(pattern, 0.5 if running else 0, start)
            if match:
                return match
            if not running or time.monotonic() > deadline:
                raise AssertionError(f"no line matches {pattern!r} in {timeout} s; exit status "
                                     f"{self.exit_status}, log:\n{self.log[-6000:]}")

    def is_running(self) -> bool:
        """Whether it has not ended yet."""
        return self.exit_status is None

    def wait(self, timeout: float = TIMEOUT) -> int:
        """Waits for the end and returns the exit status."""
        deadline = time.monotonic() + timeout
        while (status := self.exit_status) is None:
            if time.monotonic() > deadline:
                raise AssertionError(f"still running after {timeout} s, log:\n{self.log[-6000:]}")
            time.sleep(0.05)
        # A program that outlives the daemon may keep its output open.
        self.output.join(2)
        return status

    def signal(self, number: int) -> None:
        """Sends it a signal; nothing happens when it has ended."""
        self.gateway.order("signal", pid=self.pid, number=int(number))

    def terminate(self, timeout: float = TIMEOUT) -> int:
        """Asks it to end (SIGTERM) and returns its exit status."""
        self.signal(signal.SIGTERM)
        return self.wait(timeout)

    def kill(self) -> int:
        """Ends it at once (SIGKILL) and returns its exit status."""
        self.signal(signal.SIGKILL)
        return self.wait()


class Gateway(Equipment):
    """One simulated gateway. Its namespaces exist from the first start of a program until close().

    run_dir       a directory for this gateway alone; holds etc, sbin, run, flash, chips and the logs
    library_path  directory of the stand-ins for the gateway's libraries
    bus_path      directory of the stand-ins for the bus's programs; without it there is no bus
    tmp_size      size of its /tmp
    visible       further directories below /tmp that programs in the gateway must see
    """

    def __init__(self, run_dir: str | Path, library_path: str | Path | None = None,
                 bus_path: str | Path | None = None, tmp_size: str = "256m",
                 visible: Iterable[str | Path] = ()) -> None:
        super().__init__(run_dir)
        self.library_path = library_path
        self.tmp_size = tmp_size
        self.visible = [str(PROJECT), str(self.run_dir), *map(str, visible)]
        self.daemons: list[Daemon] = []
        self._programs: list[Daemon] = []
        self._process: subprocess.Popen[bytes] | None = None
        self._socket: socket.socket | None = None
        self._boot: dict[str, Any] | None = None
        # A daemon may be watched by another thread than the one that started it.
        self._order_lock = threading.Lock()
        self.bus = Bus(self, bus_path)

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    # ---- its inside, seen from outside

    @property
    def outer_pid(self) -> int:
        """Id, outside of the gateway, of its first process, with which all others end."""
        return self._ensure_booted()["pid"]

    @property
    def tmp(self) -> Path:
        """The gateway's /tmp, seen from outside."""
        return Path(f"/proc/{self.outer_pid}/root/tmp")

    @property
    def reboot_request(self) -> Path:
        """The file that the firmware tool leaves when the gateway has to be rebooted."""
        return self.run_dir / "log/reboot"

    def leftovers(self, ignore: Collection[str] = ("state", ".uci")) -> list[str]:
        """Names of the files in the gateway's /tmp that should have been removed.

        The daemon's own directory for downloads and its folders may stay; the files in them may not.
        """
        needed = {*self._boot["kept_in_tmp"], *ignore} if self._boot else set()
        downloads = self.tmp / DOWNLOADS
        left = {entry.name for entry in self.tmp.iterdir() if entry != downloads or not downloads.is_dir()} - needed
        return sorted(left | {str(file.relative_to(self.tmp)) for file in downloads.rglob("*") if not file.is_dir()})

    # ---- what runs on it

    def start_daemon(self, argv: Sequence[str | Path], env: Mapping[str, str] | None = None) -> Daemon:
        """Starts a program in a minimal environment; `env` adds to it."""
        daemon = self.start_program(argv, f"daemon-{len(self.daemons) + 1}", env)
        self.daemons.append(daemon)
        return daemon

    def start_program(self, argv: Sequence[str | Path], log_name: str,
                      env: Mapping[str, str] | None = None) -> Daemon:
        """Does the same for a program other than the daemon; `log_name` names its log file."""
        self._ensure_booted()
        environment = {"PATH": GATEWAY_PATH, "HOME": "/root", "LANG": "C.UTF-8", "TZ": "UTC",
                       "GATEWAY_LOG": str(self.run_dir / "log"), **(env or {})}
        if self.library_path:
            environment.setdefault("LD_LIBRARY_PATH", str(self.library_path))
        output = Output(self.run_dir / "log" / f"{log_name}.log")
        answer = self.order("start", handles=output.slaves, argv=[str(word) for word in argv],
                            env=environment)
        output.start()
        program = Daemon(self, answer["pid"], output)
        self._programs.append(program)
        return program

    def run(self, argv: Sequence[str | Path], env: Mapping[str, str] | None = None,
            timeout: float = TIMEOUT) -> Daemon:
        """Runs a program to its end and returns it."""
        daemon = self.start_daemon(argv, env)
        daemon.wait(timeout)
        return daemon

    def reboot(self) -> None:
        """Cuts the power: all programs end and /tmp is emptied, the configuration stays."""
        if self._boot:
            self.order("power_off")
            self._start_services()

    def close(self) -> None:
        """Ends every program of the gateway and removes its mounts."""
        if self._process is None or self._socket is None:
            return
        self._socket.close()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        for program in self._programs:
            program.output.join(10)
        self._process = self._boot = None

    # ---- the holder

    def order(self, what: str, handles: Sequence[int] = (), **arguments: Any) -> dict[str, Any]:
        """Has the holder do something and returns its answer; GatewayError when it cannot."""
        if self._socket is None:
            raise GatewayError(f"simulated gateway, {what}: it was never started")
        data = json.dumps({"do": what, **arguments}).encode()
        try:
            with self._order_lock:
                socket.send_fds(self._socket, [data], list(handles))
                answer = json.loads(self._socket.recv(1 << 20) or GONE)
        except OSError as error:
            raise GatewayError(f"the simulated gateway does not answer: {error}") from error
        if "error" in answer:
            raise GatewayError(f"simulated gateway, {what}: {answer['error']}")
        return answer

    def _ensure_booted(self) -> dict[str, Any]:
        if self._boot:
            return self._boot
        self._socket, inner = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        command = ["unshare", "--mount", "--pid", "--fork", "--kill-child"]
        if os.geteuid() != 0:
            command += ["--user", "--map-root-user"]
        command += [PYTHON, "-B", str(HERE / "holder.py")]
        self._process = subprocess.Popen(command, stdin=inner.fileno(), start_new_session=True,
                                         preexec_fn=die_with_parent)
        inner.close()
        covers: dict[str, dict[str, str]] = {
            "/etc": self._own("etc"), "/usr/sbin": self._own("sbin"), "/run": self._own("run"),
            "/lib/firmware": self._own("lib/firmware")}
        if self._own("flash"):
            covers["/dev"] = self._own("flash")
            covers["/sys/class"] = {"mtd": str(self.run_dir / "mtd")}
        self._boot = self.order("boot", kept=self.visible, tmp_size=self.tmp_size,
                                stage=str(self.run_dir / "stage"), covers=covers)
        self._start_services()
        return self._boot

    def _start_services(self) -> None:
        """Starts what a gateway starts at boot before any daemon."""
        if self.bus.exists:
            self.bus.start()

    def _own(self, directory: str) -> dict[str, str]:
        return {entry.name: str(entry) for entry in sorted((self.run_dir / directory).iterdir())}
