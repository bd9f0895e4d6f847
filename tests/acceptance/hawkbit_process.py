# SPDX-License-Identifier: Apache-2.0
"""hawkBit itself: one Java process on a free port of the loopback interface.

Its database and its artifacts are files, so that its records survive a restart.
"""
from __future__ import annotations

import os
import shutil
import subprocess
import time
from pathlib import Path

import local_process
from hawkbit_management import Management, Unreachable
from nginx import GATEWAY_TOKEN

# Seconds; a start takes about 20 s on an idle machine.
START_TIMEOUT = 300
STOP_TIMEOUT = 30
RECHECK = 0.3


class HawkbitError(RuntimeError):
    """hawkBit does not start; the text says why and quotes the end of its log."""


def jar_from_environment() -> Path:
    """The server's jar, as named by HAWKBIT_JAR. Raises HawkbitError when it is no file."""
    name = os.environ.get("HAWKBIT_JAR")
    if not name:
        raise HawkbitError("HAWKBIT_JAR is not set: it names the jar of hawkbit-update-server 0.9.0")
    if not Path(name).is_file():
        raise HawkbitError(f"HAWKBIT_JAR names no file: {name}")
    return Path(name)


class HawkbitProcess:
    """`poll` is the polling time ("HH:MM:SS") for gateways."""

    def __init__(self, jar: Path, directory: Path, poll: str) -> None:
        self.port = local_process.free_port()
        self.management = Management(self.port)
        self._log = directory / "hawkbit.log"
        self._process: subprocess.Popen | None = None
        directory.mkdir(parents=True)
        settings = {
            "server.port": self.port,
            "server.address": "127.0.0.1",
            "server.forward-headers-strategy": "framework",
            "spring.datasource.url": f"jdbc:h2:file:{directory}/database;MODE=LEGACY",
            # A request takes two connections; the default of ten blocks it with a few concurrent scenarios.
            "spring.datasource.hikari.maximum-pool-size": 60,
            "org.eclipse.hawkbit.repository.file.path": directory / "artifacts",
            "hawkbit.dmf.rabbitmq.enabled": "false",
            "hawkbit.server.ddi.security.authentication.gatewaytoken.enabled": "true",
            "hawkbit.server.ddi.security.authentication.gatewaytoken.key": GATEWAY_TOKEN,
            "hawkbit.server.ddi.security.authentication.targettoken.enabled": "true",
            # Milliseconds between two runs of the rollouts' scheduler.
            "hawkbit.rollout.scheduler.fixedDelay": 1000,
            "hawkbit.controller.pollingTime": poll,
            "hawkbit.controller.minPollingTime": "00:00:01",
        }
        # setpriv(1) has the kernel end it with the test run, however that ends. The first compiler alone
        # is what a server needs that lives for some minutes.
        self._command = ["setpriv", "--pdeathsig", "KILL", "java", "-Xmx512m", "-XX:+UseSerialGC",
                         "-XX:TieredStopAtLevel=1", f"-Djava.io.tmpdir={directory}", "-jar", str(jar),
                         *(f"--{name}={value}" for name, value in settings.items())]

    def start(self) -> None:
        """Waits until it answers."""
        program = shutil.which("java")
        if program is None:
            raise HawkbitError("java is not installed: hawkBit 0.9.0 needs Java 17")
        with self._log.open("ab") as log:
            self._process = subprocess.Popen(self._command, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        try:
            self._wait_until_ready()
        except BaseException:
            self.stop()
            raise

    def _wait_until_ready(self) -> None:
        end = time.monotonic() + START_TIMEOUT
        while True:
            try:
                self.management.get("system/configs")
                return
            except Unreachable as error:
                status = self._process.poll()
                if status is not None:
                    raise HawkbitError(f"hawkBit ended with {status}: {self._end_of_log()}") from error
                if time.monotonic() > end:
                    raise HawkbitError(f"hawkBit does not answer after {START_TIMEOUT} s: "
                                       f"{self._end_of_log()}") from error
            time.sleep(RECHECK)

    def _end_of_log(self) -> str:
        return self._log.read_text(errors="replace")[-3000:]

    def is_running(self) -> bool:
        return self._process is not None

    def stop(self) -> None:
        if self._process is None:
            return
        local_process.end(self._process, STOP_TIMEOUT)
        self._process = None
