"""A test bench: the real daemon in a simulated gateway, and an update server for it."""
import json
import os
import pathlib
import re
import socket

from gateway import Gateway, Supervisor
from hawkbit_server import Stall, Tls, UpdateServer

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("ZEPHRAN_BUILD_DIR", PROJECT / "build/debug"))
DAEMON = BUILD / "src/zephran"
BUS_PROGRAMS = BUILD / "devkit/openwrt/bin"
DEVICE = "gw-1"

# Sanitized builds on a busy machine are slow, and no test is about speed.
PATIENCE = 180
# The shortest polling time at which a deployment still starts by itself is about 6 s.
POLL = "00:00:08"
POLL_SECONDS = 8

CONFIG = """
config service 'service'
	option automatic_update '1'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""

# A sanitizer's own status, so that a finding is never mistaken for the daemon's 1.
SANITIZER_STATUS = 86
SANITIZER_FINDING = re.compile(r"(Address|Leak|Thread|UndefinedBehavior)Sanitizer|runtime error:")
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": f"exitcode={SANITIZER_STATUS}",
    "TSAN_OPTIONS": f"exitcode={SANITIZER_STATUS} halt_on_error=1",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


class Bench:
    """One gateway, one server, one device.

    `settings` are habits of the update server; `tls` replaces its certificates; `uci` tells whether
    the gateway has the library of its configuration store.
    """

    def __init__(self, directory, pki, tls=None, tmp_size="256m", uci=True, **settings):
        self.directory = directory
        self.pki = pki
        self.server = UpdateServer(tls or Tls(pki.server.certificate, pki.server.key),
                                   **{"poll": POLL, **settings})
        self.server.start()
        self.gateway = Gateway(directory / "gateway", library_path=uci_directory() if uci else None,
                               bus_path=BUS_PROGRAMS, tmp_size=tmp_size, visible=[pki.ca.parent])
        self.gateway.config("zephran", CONFIG)
        self.supervisor = None
        self._closed_port = None

    def close(self):
        try:
            if self.supervisor:
                self.supervisor.stop()
        finally:
            self.gateway.close()
            self.server.faults.clear()
            if self._closed_port:
                self._closed_port.close()
            self.server.stop()
        for daemon in self.gateway.daemons:
            assert not SANITIZER_FINDING.search(daemon.log), daemon.log
        assert not SANITIZER_FINDING.search(self.gateway.bus.log), self.gateway.bus.log

    # ---- the gateway's side

    def file(self, name, text):
        """A file that the daemon can be told the path of."""
        path = self.gateway.run_dir / name
        path.write_text(text, encoding="utf-8")
        return path

    def configure(self, option, value):
        """Sets an option of the sections "service" or "schedule" in the stored configuration."""
        section, name = option.split(".")
        lines = [line for line in self.gateway.config("zephran").splitlines()
                 if f"option {name} " not in line]
        place = next(number for number, line in enumerate(lines) if f"'{section}'" in line)
        if value is not None:
            lines.insert(place + 1, f"\toption {name} '{value}'")
        self.gateway.config("zephran", "\n".join(lines) + "\n")

    def option(self, name):
        """The stored value of an option, or None."""
        found = re.search(rf"option\s+'?{name}'?\s+'?([^'\n]*)'?\s*$",
                          self.gateway.config("zephran"), re.M)
        return found.group(1) if found else None

    def start(self, *arguments, server=None, ca=None, level="DEBUG", properties=None, env=None):
        """Starts the daemon for this bench's server."""
        if properties is not None:
            text = json.dumps(properties, ensure_ascii=False)
            arguments = ("--properties-file", self.file("properties.json", text), *arguments)
        return self.launch(["--device-id", DEVICE, "--hawkbit-server", server or self.address,
                            "--ca-bundle", ca or self.pki.ca, "--log-level", level, *arguments],
                           env)

    def supervise(self, *arguments, **options):
        """Starts the daemon and keeps it running, as a gateway does; `options` are those of start()."""
        self.supervisor = Supervisor(
            self.gateway, lambda *more: self.start(*arguments, *more, **options)).start()
        return self.supervisor

    def start_without_server(self, *arguments):
        """Starts the daemon for a server that refuses every connection, at its own log level."""
        if self._closed_port is None:
            # a port that is taken and that nobody listens on stays closed
            self._closed_port = socket.socket()
            self._closed_port.bind(("127.0.0.1", 0))
        port = self._closed_port.getsockname()[1]
        return self.launch(["--device-id", DEVICE, "--hawkbit-server", f"127.0.0.1:{port}",
                            "--ca-bundle", self.pki.ca, *arguments])

    def launch(self, arguments, env=None):
        options = {name: " ".join(filter(None, [value, os.environ.get(name)]))
                   for name, value in SANITIZER_OPTIONS.items()}
        return self.gateway.start_daemon([DAEMON, *arguments], env={**options, **(env or {})})

    def run(self, arguments):
        """Starts the daemon with exactly these arguments and waits for its end."""
        daemon = self.launch(arguments)
        daemon.wait(PATIENCE)
        return daemon

    # ---- the server's side

    @property
    def address(self):
        return f"localhost:{self.server.port}"

    def script(self, name, text, version="1.0"):
        """A software module of one shell script."""
        content = "#!/bin/sh\n" + text
        return self.server.software_module("script", name, version, {f"{name}.sh": content.encode()})

    def assign(self, *modules, type="forced"):
        return self.server.assign(DEVICE, modules, type)

    def stall(self, kind, first=1):
        """Has the server hold one request of this kind until the returned fault is released."""
        fault = Stall()
        self.server.order(kind, fault, first=first)
        return fault

    def wait_until(self, condition, what):
        """Waits for something that a living daemon will bring about, and returns it.

        A supervised daemon may end: it is started again.
        """
        daemon = self.gateway.daemons[-1]

        def came_or_never_will():
            value = condition()
            if self.supervisor:
                self.supervisor.check()
            elif not value and not daemon.is_running():
                raise AssertionError(f"the daemon ended with {daemon.exit_status} before {what}, "
                                     f"log:\n{daemon.log[-6000:]}")
            return value

        return self.server.wait_for(came_or_never_will, PATIENCE, what)

    def wait_for_end(self, action):
        self.wait_until(lambda: not action.active, f"the end of action {action.id}")

    def exchanges(self, *kinds):
        """Answered requests of these kinds, or all, in the order of arrival."""
        return [each for each in self.server.exchanges()
                if each.status is not None and (not kinds or each.kind in kinds)]

    def wait_for_exchanges(self, kind, count):
        """Waits for that many answers of a kind and returns them."""
        return self.wait_until(
            lambda: len(self.exchanges(kind)) >= count and self.exchanges(kind),
            f"{count} requests of kind {kind}")

    def reports(self, kind="feedback"):
        """What the device reported: (execution, result, progress, details), refused ones included."""
        return [read_report(each.json()) for each in self.exchanges(kind)]

    def closing_reports(self):
        return [report for report in self.reports() if report[0] == "closed"]


def read_report(document):
    status = document["status"]
    progress = status["result"].get("progress", {})
    return (status["execution"], status["result"]["finished"],
            f"{progress.get('count')}/{progress.get('of')}", status["details"])


def uci_directory():
    """Where the build has put the configuration library's stand-in."""
    found = sorted(BUILD.rglob("libuci.so"))
    if not found:
        raise FileNotFoundError(f"no libuci.so below {BUILD}; build with ZEPHRAN_BUILD_DEVKIT=ON")
    return found[0].parent
