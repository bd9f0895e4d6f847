"""The outer side of the simulated gateway: what tests and the demonstration program against."""
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import threading
import time

from .bus import Bus
from .equipment import HERE, Equipment
from .kernel import die_with_parent
from .terminal import Output

PROJECT = HERE.parent.parent
# The holder and the tools run in a bare system, where only the system's own interpreter exists.
PYTHON = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable
GONE = b'{"error": "its first process is gone; may this user make namespaces here?"}'
# Programs that are waited for are slow on a busy machine, and slower still with sanitizers.
PATIENCE = 180
GATEWAY_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


class GatewayError(Exception):
    """The gateway could not be built, or refused an order."""


class Daemon:
    """A program that was started in a gateway."""

    def __init__(self, gateway, pid, output):
        self.gateway = gateway
        self.pid = pid
        self.output = output
        self._status = None

    @property
    def log(self):
        """Everything written so far, in the order in which it came."""
        return self.output.text()

    @property
    def out(self):
        return self.output.text("out")

    @property
    def err(self):
        return self.output.text("err")

    @property
    def exit_status(self):
        """None while it runs; the negative signal number if a signal ended it."""
        if self._status is None:
            self._status = self.gateway.order("status", pid=self.pid)["status"]
        return self._status

    def wait_for_line(self, pattern, timeout=PATIENCE, start=0):
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

    def is_running(self):
        return self.exit_status is None

    def wait(self, timeout=PATIENCE):
        """Waits for the end and returns the exit status."""
        deadline = time.monotonic() + timeout
        while self.is_running():
            if time.monotonic() > deadline:
                raise AssertionError(f"still running after {timeout} s, log:\n{self.log[-6000:]}")
            time.sleep(0.05)
        # a program that outlives the daemon may hold its output open
        self.output.join(2)
        return self.exit_status

    def signal(self, number):
        self.gateway.order("signal", pid=self.pid, number=int(number))

    def terminate(self, timeout=PATIENCE):
        self.signal(signal.SIGTERM)
        return self.wait(timeout)

    def kill(self):
        self.signal(signal.SIGKILL)
        return self.wait()


class Gateway(Equipment):
    """One simulated gateway. Its namespaces live from the first start of a program to close().

    run_dir       a directory of its own; holds etc, sbin, run, flash, chips and the logs
    library_path  where the stand-ins of the gateway's libraries lie
    bus_path      where the stand-ins of the message bus's programs lie; without it there is no bus
    tmp_size      how much fits into its /tmp
    visible       further directories below /tmp that programs in the gateway must see
    """

    def __init__(self, run_dir, library_path=None, bus_path=None, tmp_size="256m", visible=()):
        super().__init__(run_dir)
        self.library_path = library_path
        self.tmp_size = tmp_size
        self.visible = [str(PROJECT), str(self.run_dir), *map(str, visible)]
        self.daemons = []
        self._programs = []
        self._process = self._socket = self._boot = None
        # Others than the one who started a daemon may watch over it.
        self._order_lock = threading.Lock()
        self.bus = Bus(self, bus_path)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    # ---- its inside, from outside

    @property
    def outer_pid(self):
        """Process number, in the world outside, of the process that all others here end with."""
        self._ensure_booted()
        return self._boot["pid"]

    @property
    def tmp(self):
        """The gateway's /tmp, seen from outside."""
        return pathlib.Path(f"/proc/{self.outer_pid}/root/tmp")

    @property
    def reboot_request(self):
        """The file that the firmware tool leaves when the gateway has to be rebooted."""
        return self.run_dir / "log/reboot"

    def leftovers(self, ignore=("state", ".uci")):
        """Names in the gateway's /tmp that nobody needs."""
        needed = {*self._boot["kept_in_tmp"], *ignore} if self._boot else set()
        return sorted(entry.name for entry in self.tmp.iterdir() if entry.name not in needed)

    # ---- what runs on it

    def start_daemon(self, argv, env=None):
        """Starts a program with a small environment of its own; `env` adds to it."""
        daemon = self.start_program(argv, f"daemon-{len(self.daemons) + 1}", env)
        self.daemons.append(daemon)
        return daemon

    def start_program(self, argv, log_name, env=None):
        """The same for a program that accompanies the daemons; `log_name` names its log's file."""
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

    def run(self, argv, env=None, timeout=PATIENCE):
        """Runs a program to its end and returns it."""
        daemon = self.start_daemon(argv, env)
        daemon.wait(timeout)
        return daemon

    def reboot(self):
        """A power cut: every program is gone and /tmp empty, the configuration stays."""
        if self._boot:
            self.order("power_off")
            self._start_services()

    def close(self):
        """Ends every program of the gateway and takes its mounts away."""
        if self._process is None:
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

    def order(self, what, handles=(), **arguments):
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

    def _ensure_booted(self):
        if self._boot:
            return
        self._socket, inner = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        command = ["unshare", "--mount", "--pid", "--fork", "--kill-child"]
        if os.geteuid() != 0:
            command += ["--user", "--map-root-user"]
        command += [PYTHON, "-B", str(HERE / "holder.py")]
        self._process = subprocess.Popen(command, stdin=inner, start_new_session=True,
                                         preexec_fn=die_with_parent)
        inner.close()
        covers = {"/etc": self._own("etc"), "/usr/sbin": self._own("sbin"), "/run": self._own("run"),
                  "/lib/firmware": self._own("lib/firmware")}
        if self._own("flash"):
            covers["/dev"] = self._own("flash")
            covers["/sys/class"] = {"mtd": str(self.run_dir / "mtd")}
        self._boot = self.order("boot", kept=self.visible, tmp_size=self.tmp_size,
                                stage=str(self.run_dir / "stage"), covers=covers)
        self._start_services()

    def _start_services(self):
        """What a gateway starts when it boots, before any daemon."""
        if self.bus.exists:
            self.bus.start()

    def _own(self, directory):
        return {entry.name: str(entry) for entry in sorted((self.run_dir / directory).iterdir())}
