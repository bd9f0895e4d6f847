# SPDX-License-Identifier: Apache-2.0
"""A test bench: the real daemon in a simulated gateway, and an update server for it."""
import socket

from gateway_bench import CONFIG, TIMEOUT, GatewayBench
from hawkbit_server import Stall, Tls, UpdateServer

DEVICE = "gw-1"

# The shortest polling time at which a deployment still starts by itself is about 6 s.
POLL = "00:00:08"
POLL_SECONDS = 8


class Bench(GatewayBench):
    """One gateway, one server, one device.

    `settings` are those of the update server; `tls` replaces its certificates; `uci` says whether the gateway
    has the library of its configuration store, `config` what is stored.
    """

    def __init__(self, directory, pki, tls=None, tmp_size="256m", uci=True, config=CONFIG, **settings):
        super().__init__(directory, [pki.ca.parent], tmp_size, uci, config)
        self.pki = pki
        self.server = UpdateServer(tls or Tls(pki.server.certificate, pki.server.key),
                                   clock=self.now, **{"poll": POLL, **settings})
        self.server.start()
        self._closed_port = None

    def close(self):
        try:
            self.close_gateway()
        finally:
            self.server.faults.clear()
            if self._closed_port:
                self._closed_port.close()
            self.server.stop()
        self.assert_no_findings()

    # ---- the gateway's side

    def start(self, *arguments, server=None, ca=None, **options):
        """Starts the daemon for this bench's server."""
        return self.start_for(DEVICE, server or self.address, ca or self.pki.ca, *arguments,
                              **options)

    def start_without_server(self, *arguments):
        """Starts the daemon for a server that refuses every connection, at the default log level."""
        if self._closed_port is None:
            # A bound port on which nobody listens refuses connections.
            self._closed_port = socket.socket()
            self._closed_port.bind(("127.0.0.1", 0))
        port = self._closed_port.getsockname()[1]
        return self.launch(["--device-id", DEVICE, "--hawkbit-server", f"127.0.0.1:{port}",
                            "--ca-bundle", self.pki.ca, *arguments])

    # ---- the server's side

    @property
    def address(self):
        return f"localhost:{self.server.port}"

    def module(self, type, name, version, artifacts, metadata=None):
        return self.server.software_module(type, name, version, artifacts, metadata)

    def script(self, name, text, version="1.0", metadata=None):
        """A software module of one shell script."""
        content = "#!/bin/sh\n" + text
        return self.module("script", name, version, {f"{name}.sh": content.encode()}, metadata)

    def assign(self, *modules, type="forced"):
        return self.server.assign(DEVICE, modules, type)

    def stall(self, kind, first=1):
        """Makes the server hold one request of this kind until the returned fault is released."""
        fault = Stall()
        self.server.order(kind, fault, first=first)
        return fault

    def wait_until(self, condition, what):
        """Waits for something that a running daemon will bring about, and returns it.

        A supervised daemon may end: it is restarted.
        """
        def came_or_never_will():
            value = condition()
            if not value:
                self.check_alive(what)
            return value

        return self.server.wait_for(came_or_never_will, TIMEOUT, what)

    def wait_for_end(self, action):
        self.wait_until(lambda: not action.active, f"the end of action {action.id}")

    def exchanges(self, *kinds):
        """Answered requests of these kinds, or of all kinds, in order of arrival."""
        return [each for each in self.server.exchanges()
                if each.status is not None and (not kinds or each.kind in kinds)]

    def wait_for_exchanges(self, kind, count):
        """Waits for that many answers of a kind, and returns them."""
        return self.wait_until(
            lambda: len(self.exchanges(kind)) >= count and self.exchanges(kind),
            f"{count} requests of kind {kind}")

    def reports(self, kind="feedback"):
        """The device's reports, including refused ones: (execution, result, progress, details)."""
        return [read_report(each.json()) for each in self.exchanges(kind)]

    def closing_reports(self):
        return [report for report in self.reports() if report[0] == "closed"]


def read_report(document):
    status = document["status"]
    progress = status["result"].get("progress", {})
    return (status["execution"], status["result"]["finished"],
            f"{progress.get('count')}/{progress.get('of')}", status["details"])
