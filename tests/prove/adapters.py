# SPDX-License-Identifier: Apache-2.0
"""The adapters behind the gateway of a random history: one that has a serial number, and one that has none."""
from gateway import Powerline, powerline_image
from gateway.powerline import FIRMWARE_PARAMETER

MACS = ("02:00:00:00:00:10", "02:00:00:00:00:11")
SERIALS = ("SN-1", "")
PART = "plc_ghn"
# What can happen to one; it always comes back with what it had.
EVENTS = ("unplug", "fall_silent", "plug_in")


class Adapters:
    """Must be made before the gateway's first start. They are known by their number, from 0."""

    def __init__(self, bench, prefix):
        self._bench = bench
        line = Powerline(bench.gateway)
        self._modems = [line.add(mac, serial=serial) for mac, serial in zip(MACS, SERIALS, strict=True)]
        self.targets = [prefix + (serial or mac) for mac, serial in zip(MACS, SERIALS, strict=True)]
        self._disturbed = set()

    def assign(self, number, module, kind):
        """Assigns a module to one of them; returns the action."""
        return self._bench.server.assign(self.targets[number], [module], type=kind)

    def meet(self, number, event, actions):
        """Has one of the EVENTS happen to one of them, while there are these actions."""
        getattr(self._modems[number], event)()
        self._disturbed |= {action.id for action in actions if action.active and action.target.id in self.targets}

    def plug_in_all(self):
        for modem in self._modems:
            modem.plug_in()

    def was_disturbed(self, action):
        """Whether the gateway may not have learnt what has become of the firmware."""
        return action.id in self._disturbed

    def set_firmware(self, number, version_there):
        """As if the modem had always run another version."""
        self._modems[number].set(FIRMWARE_PARAMETER, version_there)

    def firmware(self, target):
        """The version that the modem of a target runs."""
        return self._modems[self.targets.index(target)].firmware


def module(bench, number):
    """A software module with firmware of a version of its own."""
    return bench.module(PART, "adapter", version(number), {"plc.bin": powerline_image(version(number))})


def version(number):
    return f"3.{number}"
