# SPDX-License-Identifier: Apache-2.0
"""A home: one simulated gateway with the real daemon, and the server's records of it."""
from __future__ import annotations

import contextlib

from driver import Server, wait_for
from gateway import BusError
from gateway_bench import TIMEOUT, GatewayBench


class Home(GatewayBench):
    """The gateway is the target `device` of the server. Module names begin with `label`, which no other
    scenario on the same server uses."""

    def __init__(self, directory, server: Server, device, label):
        super().__init__(directory, [server.access.ca.parent])
        self.server = server
        self.access = server.access
        self.device = device
        self.label = label

    def close(self):
        self.close_gateway()
        self.assert_no_findings()

    def start(self, *arguments, certificate=None, **options):
        """Starts the daemon; `certificate` (certificate, key) replaces the client's."""
        access = self.access
        certificate, key = certificate or (access.certificate, access.key)
        return self.start_for(self.device, access.address, access.ca,
                              "--client-certificate", certificate, "--client-certificate-key", key,
                              *arguments, **options)

    def start_with_token(self, token, address):
        """Starts the daemon without a certificate for a server at this address."""
        self.configure("network.token_file", str(self.file("token", f"{token}\n")))
        return self.start_for(self.device, address, self.access.ca)

    def poll_now(self):
        """Has the daemon poll at its next step instead of at the due time."""
        self.wait_until(lambda: "zephran" in self.gateway.bus.objects(), "the object zephran")
        # A supervised daemon may be restarting; it then polls by itself.
        with contextlib.suppress(BusError):
            self.gateway.bus.call("force_poll")

    # ---- the operator

    def module(self, type, name, version, artifacts):
        return self.server.add_module(type, f"{self.label}-{name}", version, artifacts)

    def script(self, name, text, version="1.0"):
        """A module of one shell script."""
        return self.module("script", name, version, {f"{name}.sh": b"#!/bin/sh\n" + text.encode()})

    def assign(self, *modules, **options):
        return self.server.assign(self.device, modules, **options)

    # ---- waiting

    def wait_until(self, condition, what):
        """Waits for something that a running daemon will bring about, and returns it."""
        def came_or_never_will():
            value = condition()
            if not value:
                self.check_alive(what)
            return value
        return wait_for(came_or_never_will, TIMEOUT, what)

    def wait_until_registered(self):
        """Waits until the server knows the target and its attributes."""
        return self.wait_until(lambda: (known := self.server.target(self.device)) and known.attributes and known,
                               f"target {self.device} and its attributes")

    def wait_for_end(self, action):
        """Waits until the action is closed and returns what the server recorded."""
        def closed():
            record = self.server.action(action)
            return None if record.active else record
        return self.wait_until(closed, f"the end of action {action}")

    def wait_for_report(self, action, text):
        """Waits until the server has recorded this text of the device."""
        self.wait_until(lambda: text in self.server.action(action).messages, f"the report {text!r}")
