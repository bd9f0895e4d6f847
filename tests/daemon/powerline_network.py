# SPDX-License-Identifier: Apache-2.0
"""A gateway's powerline network for the tests of the daemon."""
import re

from gateway import Powerline, powerline_image
from local_control import LocalControl

CONTROLLER = "02:00:00:00:00:01"
WITH_SERIAL, WITHOUT_SERIAL = "02:00:00:00:00:0a", "02:00:00:00:00:0b"
SERIAL = "SN-1"
OLD, NEW = "1.2.3", "2.0.1"


class PowerlineNetwork:
    """The network behind the gateway of a bench, and the daemon's view of it."""

    def __init__(self, bench, **options):
        self._bench = bench
        self.line = Powerline(bench.gateway, CONTROLLER, **options)
        self.control = LocalControl(bench)

    def add_with_serial(self):
        return self.line.add(WITH_SERIAL, serial=SERIAL, firmware=OLD, name="living room")

    def add_without_serial(self):
        return self.line.add(WITHOUT_SERIAL, firmware=OLD, name="attic")

    def start(self, *arguments, **options):
        return self._bench.start("--ghn-agents", *arguments, **options)

    def agents(self):
        """The daemon's agents as reported over the bus: {id: attributes}."""
        return {agent["id"]: agent["config"] for agent in self.control.get_agents()["agents"]}

    def wait_for_agents(self, *ids):
        """Waits until exactly these agents exist, and returns them."""
        self.control.wait_until_served()

        def exactly_these():
            agents = self.agents()
            return set(agents) == set(ids) and agents
        return self._bench.wait_until(exactly_these, f"exactly the agents {ids}")

    def image(self, version, name="plc.bin"):
        """A software module with firmware for a modem."""
        return self._bench.server.software_module("plc_ghn", "adapter-firmware", version,
                                                  {name: powerline_image(version)})

    def reports(self, target):
        """The details of the reports for a target."""
        return [each.json()["status"]["details"]
                for each in self._bench.server.exchanges("feedback", target)]

    def calls(self, mac):
        """Command lines that named this modem."""
        return [call for call in self._bench.gateway.calls() if f" -m {mac}" in call]

    def get(self, mac, parameter):
        """The command line that asks for a parameter."""
        return (f"configlayer -i {self.line.interface} -w {self.line.password} -m {mac} "
                f"-o GET -p {parameter}")


def count(pattern, daemon):
    return len(re.findall(f"{pattern}$", daemon.log, re.M))
