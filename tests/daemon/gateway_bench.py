# SPDX-License-Identifier: Apache-2.0
"""The gateway's part of a test bench: the real daemon in a simulated gateway."""
import json
import os
import pathlib
import re
import time

from gateway import Gateway, Supervisor
from virtual_clock import VirtualClock

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("ZEPHRAN_BUILD_DIR", PROJECT / "build/debug"))
DAEMON = BUILD / "src/zephran"
BUS_PROGRAMS = BUILD / "devkit/openwrt/bin"
VIRTUAL_TIME = BUILD / "devkit/virtual-time/libvirtual_time.so"

# Seconds; generous, as builds with sanitizers are slow on a busy machine. Where tests must fail, waiting costs time.
TIMEOUT = int(os.environ.get("ZEPHRAN_TIMEOUT", "180"))

CONFIG = """
config service 'service'
	option automatic_update '1'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""

# A status for sanitizers, so that a finding is never mistaken for the daemon's status 1.
SANITIZER_STATUS = 86
SANITIZER_FINDING = re.compile(r"(Address|Leak|Thread|UndefinedBehavior)Sanitizer|runtime error:")
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": f"exitcode={SANITIZER_STATUS}",
    "TSAN_OPTIONS": f"exitcode={SANITIZER_STATUS} halt_on_error=1",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


class GatewayBench:
    """One gateway with the daemon on it; subclasses choose the server in start().

    `uci` says whether the gateway has the library of its configuration store, `config` what is stored.
    """

    def __init__(self, directory, visible, tmp_size="256m", uci=True, config=CONFIG):
        self.directory = directory
        self.gateway = Gateway(directory / "gateway", library_path=uci_directory() if uci else None,
                               bus_path=BUS_PROGRAMS, tmp_size=tmp_size, visible=[BUILD, *visible])
        self.gateway.config("zephran", config)
        self.supervisor = None
        self.clock = None
        # Makes the command of a start and its environment into others.
        self.wrap = lambda command, env: (command, env)

    def follow_virtual_time(self, wall):
        """Has every program that is started from now on follow a clock of its own, which is returned.

        wall: what its wall clock shows at first, in seconds since 1970
        """
        self.clock = VirtualClock(self.gateway.run_dir / "clock", VIRTUAL_TIME, wall)
        return self.clock

    def now(self):
        """The time of the gateway, in seconds since 1970."""
        return self.clock.wall() if self.clock else time.time()

    def close_gateway(self):
        """Ends everything on the gateway."""
        if self.clock:
            self.clock.stop_after(0)
        try:
            if self.supervisor:
                self.supervisor.stop()
        finally:
            self.gateway.close()

    def assert_no_findings(self):
        """Asserts that no sanitizer has found anything on the closed gateway, and that its broker has not failed."""
        for daemon in self.gateway.daemons:
            assert not SANITIZER_FINDING.search(daemon.log), daemon.log
        assert "Traceback" not in self.gateway.bus.log, self.gateway.bus.log

    def file(self, name, text):
        """Writes a file whose path can be given to the daemon."""
        path = self.gateway.run_dir / name
        path.write_text(text, encoding="utf-8")
        return path

    def configure(self, option, value):
        """Sets an option such as "service.log_repeats" in the stored configuration."""
        section, name = option.split(".")
        lines = [line for line in self.gateway.config("zephran").splitlines()
                 if f"option {name} " not in line]
        if not any(f"'{section}'" in line for line in lines):
            lines.append(f"config {section} '{section}'")
        place = next(number for number, line in enumerate(lines) if f"'{section}'" in line)
        if value is not None:
            lines.insert(place + 1, f"\toption {name} '{value}'")
        self.gateway.config("zephran", "\n".join(lines) + "\n")

    def option(self, name):
        """The stored value of an option, or None."""
        found = re.search(rf"option\s+'?{name}'?\s+'?([^'\n]*)'?\s*$",
                          self.gateway.config("zephran"), re.M)
        return found.group(1) if found else None

    def start(self, *arguments, **options):
        """Starts the daemon for the server of this bench."""
        raise NotImplementedError

    def start_for(self, device, server, ca, *arguments, level="DEBUG", properties=None, env=None):
        """Starts the daemon for this device of this server."""
        if properties is not None:
            text = json.dumps(properties, ensure_ascii=False)
            arguments = ("--properties-file", self.file("properties.json", text), *arguments)
        return self.launch(["--device-id", device, "--hawkbit-server", server,
                            "--ca-bundle", ca, "--log-level", level, *arguments], env)

    def supervise(self, *arguments, **options):
        """Starts the daemon and restarts it whenever it ends; `options` are those of start()."""
        self.supervisor = Supervisor(
            self.gateway, lambda *more: self.start(*arguments, *more, **options)).start()
        return self.supervisor

    def launch(self, arguments, env=None):
        options = {name: " ".join(filter(None, [value, os.environ.get(name)]))
                   for name, value in SANITIZER_OPTIONS.items()}
        if self.clock:
            # The firmware tool has stopped it before a reboot.
            self.clock.run_freely()
            options |= self.clock.environment
        return self.gateway.start_daemon(*self.wrap([DAEMON, *arguments], {**options, **(env or {})}))

    def run(self, arguments):
        """Starts the daemon with exactly these arguments and waits for its end."""
        daemon = self.launch(arguments)
        daemon.wait(TIMEOUT)
        return daemon

    def check_alive(self, what):
        """Raises when the daemon has ended. A supervised daemon may end: it is restarted."""
        if self.supervisor:
            self.supervisor.check()
            return
        daemon = self.gateway.daemons[-1]
        if not daemon.is_running():
            raise AssertionError(f"the daemon ended with {daemon.exit_status} before {what}, "
                                 f"log:\n{daemon.log[-6000:]}")


def uci_directory():
    """Directory of the stand-in for the configuration library in the build."""
    found = sorted(BUILD.rglob("libuci.so"))
    if not found:
        raise FileNotFoundError(f"no libuci.so below {BUILD}; build with ZEPHRAN_BUILD_DEVKIT=ON")
    return found[0].parent
