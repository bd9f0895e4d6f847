# SPDX-License-Identifier: Apache-2.0
"""The stage of the demonstration of a release: a gateway with the daemon, and what the operator does."""
import contextlib
import json
import pathlib
import re

from hawkbit_server import Slow
from pki import Pki

from .failure import DemoFailure
from .inventory import take_inventory
from .life import Life
from .rollouts import BEFORE, ERASE_SIZE, PARTITION
from .stage import Stage

DEVICE = "gw-demo"
PROPERTIES = {"hw_revision": "3", "serial": "DEMO-0001", "site": "workbench"}
# Leaves enough time between two polls to look at a pending deployment and to accept it.
POLL = "00:00:20"
# Slow enough for the download of a few megabytes to be watched.
BYTES_PER_SECOND = 1_600_000

CONFIGURATION = """
config service 'service'
	option automatic_update '0'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""
# What the page of the web interface needs: the state on the bus, and downloads beside the main loop.
CONFIGURATION_FOR_THE_WEB = CONFIGURATION.replace("'0'", "'0'\n\toption bus_extended '1'", 1) + """
config network 'network'
	option attempts '3'
"""


class Scene(Stage):
    """The stage of a whole release. The daemon is kept running, as the gateway's init would do."""

    life: Life

    def __init__(self, build_dir: str | pathlib.Path, configuration: str = CONFIGURATION) -> None:
        super().__init__(build_dir, DEVICE, POLL, "required")
        self._configuration = configuration
        self._partition: pathlib.Path | None = None

    def _start(self, pki: Pki, cleanup: contextlib.ExitStack) -> None:
        self._equip_gateway()
        self.life = Life(self.gateway, self._daemon_command(pki), self._happenings.put)
        self.life.start()
        cleanup.callback(self.life.stop)

    def _check(self) -> None:
        self.life.check()

    def _equip_gateway(self):
        """Puts the gateway into its state before the release."""
        self.gateway.config("zephran", self._configuration)
        self.gateway.install_firmware(BEFORE.firmware)
        self._partition = self.gateway.flash(PARTITION, BEFORE.boot_loader, ERASE_SIZE)

    def _daemon_command(self, pki):
        properties = self.gateway.run_dir / "properties.json"
        properties.write_text(json.dumps(PROPERTIES), encoding="utf-8")
        return [self._build.daemon, "--device-id", DEVICE, "--hawkbit-server", self.server.address,
                "--ca-bundle", pki.ca, "--client-certificate", pki.client.certificate,
                "--client-certificate-key", pki.client.key, "--properties-file", properties,
                "--bootloader-mtd", PARTITION, "--log-level", "DEBUG"]

    # ---- the operator

    def assign(self, rollout):
        """Assigns the rollout to the device as a soft action, and slows its downloads down."""
        modules = [self.server.software_module(chunk.type, chunk.name, chunk.version, chunk.files)
                   for chunk in rollout.chunks]
        self.server.order("artifact", Slow(BYTES_PER_SECOND), times=None)
        return self.server.assign(DEVICE, modules, type="soft")

    # ---- what can be seen

    def inventory(self):
        """What is on the gateway now."""
        return take_inventory(self.gateway, self._partition)

    def configuration_library(self):
        """A sentence on the library that the running daemon really reads its configuration with."""
        daemon = self.life.daemon
        if daemon is None:
            raise DemoFailure("the daemon was never started")
        maps = pathlib.Path(f"/proc/{self.gateway.outer_pid}/root/proc/{daemon.pid}/maps")
        loaded = re.search(r"\s(/\S*libuci\.so\S*)", maps.read_text(encoding="utf-8"))
        if loaded is None:
            return "none: the daemon has loaded no libuci"
        # In a chroot the path is shown from the outside.
        library = self._build.store_library
        if loaded[1].endswith(str(library)):
            place = self._build.name_of(library)
            return f"the stand-in for libuci that devkit brings ({place}), not the real one"
        return f"{loaded[1]}, as found on this machine"

    def message_bus(self):
        """A sentence on the bus libraries, the broker and the command that are in use."""
        programs = self._build.bus_programs
        broker = (programs / "ubusd").resolve()
        whose = (f"that devkit brings ({self._build.name_of(programs)})" if broker.parent == programs.resolve()
                 else f"of OpenWrt ({broker.parent.parent})")
        return f"{self._build.bus_libraries}; the broker ubusd and the command ubus are the ones {whose}"
