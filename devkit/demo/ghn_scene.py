# SPDX-License-Identifier: Apache-2.0
"""The stage of the demonstration of the powerline network."""
import contextlib
import pathlib

from gateway import Daemon, Modem, Powerline, powerline_image
from pki import Pki

from .daemon_log import Follower
from .failure import DemoFailure
from .stage import Stage

GATEWAY = "gw-demo"
# One adapter has a serial number; the other has none and is identified by its address.
SERIAL, ADDRESS = "ADP-1001", "02:00:00:00:00:0b"
OLD_FIRMWARE, NEW_FIRMWARE = "1.2.3", "2.0.1"
FILE_NAME = "adapter.bin"
POLL = "00:00:10"
CONFIGURATION = """
config service 'service'
	option automatic_update '1'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""


class GhnScene(Stage):
    """The stage of the powerline network: two adapters beside the gateway's own modem."""

    powerline: Powerline
    to_update: Modem
    to_unplug: Modem
    daemon: Daemon

    def __init__(self, build_dir: str | pathlib.Path) -> None:
        super().__init__(build_dir, GATEWAY, POLL, "ignored")

    def _start(self, pki: Pki, cleanup: contextlib.ExitStack) -> None:
        self._plug_in_modems()
        self._start_daemon(pki)

    def _check(self) -> None:
        if not self.daemon.is_running():
            raise DemoFailure(f"the daemon ended with status {self.daemon.exit_status}")

    def _plug_in_modems(self):
        self.gateway.config("zephran", CONFIGURATION)
        self.powerline = Powerline(self.gateway)
        self.to_update = self.powerline.add("02:00:00:00:00:0a", SERIAL, OLD_FIRMWARE, "living room")
        self.to_unplug = self.powerline.add(ADDRESS, "", OLD_FIRMWARE, "attic")

    def _start_daemon(self, pki):
        self.daemon = self.gateway.start_daemon(
            [self._build.daemon, "--device-id", GATEWAY, "--hawkbit-server", self.server.address,
             "--ca-bundle", pki.ca, "--ghn-agents", "--log-level", "DEBUG"])
        self._follower = Follower(self.daemon, self._happenings.put)

    # ---- what is done

    def assign_firmware(self):
        """Assigns new firmware to the adapter with the serial number."""
        module = self.server.software_module("plc_ghn", "adapter-firmware", NEW_FIRMWARE,
                                             {FILE_NAME: powerline_image(NEW_FIRMWARE, 60_000)})
        return self.server.assign(SERIAL, [module])

    def agents(self):
        """The daemon's agents as reported over the message bus: {id: attributes}."""
        return {agent["id"]: agent["config"]
                for agent in self.gateway.bus.call("get_agents")["agents"]}

    def stop_daemon(self):
        """Asks the daemon to stop, reads the rest of its log, and returns its exit status."""
        status = self.daemon.terminate()
        self._follower.stop()
        return status
