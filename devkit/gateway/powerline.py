# SPDX-License-Identifier: Apache-2.0
"""The powerline network behind a simulated gateway: modems that `configlayer` and `l2fwserver` reach."""
import os
from collections.abc import Mapping
from pathlib import Path

from .equipment import Equipment

FIRST_VERSION = "1.0.0"
UPGRADE_PARAMETERS = {
    "FLUPGRADE.GENERAL.SOURCE": "NONE",
    "FLUPGRADE.GENERAL.SECTION": "NONE",
    "FLUPGRADE.GENERAL.START": "NO",
    "FLUPGRADE.GENERAL.STATUS": "IDLE",
    "FLUPGRADE.GENERAL.LAST_UPGRADE_INFO": "NONE",
}
END_DEVICE_PARAMETER = "DHCP.GENERAL.ENABLED_IPV4"
FIRMWARE_PARAMETER = "SYSTEM.GENERAL.FW_VERSION"


def powerline_image(version: str, size: int = 4096) -> bytes:
    """Firmware for a modem; its first line holds the version."""
    header = f"GHN_FW_VERSION={version}\n".encode()
    return header + bytes(place * 11 % 256 for place in range(max(0, size - len(header))))


class Modem:
    """One modem of the network. It is unaffected by a reboot of the gateway."""

    def __init__(self, directory: Path, parameters: Mapping[str, str]) -> None:
        self.mac = directory.name
        self._directory = directory
        directory.mkdir(parents=True)
        self._write(parameters)

    # ---- what it knows

    @property
    def parameters(self) -> dict[str, str]:
        """All parameters that it knows, by name."""
        lines = (self._directory / "parameters").read_text(encoding="utf-8").splitlines()
        return dict(line.split("=", 1) for line in lines)

    @property
    def firmware(self) -> str:
        """The version that it runs."""
        return self.parameters[FIRMWARE_PARAMETER]

    def set(self, name: str, value: str) -> None:
        """Sets one parameter."""
        self._write({**self.parameters, name: value})

    def forget(self, name: str = END_DEVICE_PARAMETER) -> None:
        """Removes a parameter. Without the default one the modem is no end device."""
        self._write({key: value for key, value in self.parameters.items() if key != name})

    # ---- how it behaves

    def unplug(self) -> None:
        """Takes it out of the network."""
        self._mark("absent")

    def plug_in(self) -> None:
        """Brings it back into the network, and makes it answer again."""
        for name in ("absent", "silent"):
            (self._directory / name).unlink(missing_ok=True)

    @property
    def is_present(self) -> bool:
        """Whether it is in the network."""
        return not (self._directory / "absent").exists()

    def fall_silent(self) -> None:
        """It no longer answers, but the gateway's modem still lists it."""
        self._mark("silent")

    def hang(self) -> None:
        """Every call to it waits until release()."""
        (self._directory / "held").unlink(missing_ok=True)
        self._mark("hangs")

    @property
    def is_held(self) -> bool:
        """Whether a call has waited since hang()."""
        return (self._directory / "held").exists()

    def release(self) -> None:
        """Lets hanging calls continue."""
        (self._directory / "hangs").unlink()

    def vanish_at_reset(self) -> None:
        """Its next reset is its end: it does not return."""
        self._mark("fate", "gone")

    def keep_firmware_at_reset(self) -> None:
        """Its next reset leaves the current firmware running."""
        self._mark("fate", "old")

    def vanish_while_pushed(self) -> None:
        """It leaves the network after half of an image has arrived."""
        self._mark("loses-link")

    def _mark(self, name: str, text: str = "") -> None:
        (self._directory / name).write_text(f"{text}\n", encoding="utf-8")

    def _write(self, parameters: Mapping[str, str]) -> None:
        text = "".join(f"{name}={value}\n" for name, value in parameters.items())
        written = self._directory / "parameters.new"
        written.write_text(text, encoding="utf-8")
        os.replace(written, self._directory / "parameters")


class Powerline:
    """The network of one gateway, and the gateway's configuration for it.

    gateway     the gateway; replaces its configuration packages "ghn" and "nevra"
    controller  address of the gateway's own modem
    password    required by all modems, and written to the configuration
    """

    def __init__(self, gateway: Equipment, controller: str = "02:00:00:00:00:01", interface: str = "br-lan",
                 password: str = "lan-secret") -> None:
        self._gateway = gateway
        self._directory = Path(gateway.run_dir) / "powerline"
        self._directory.mkdir()
        for name, value in (("controller", controller), ("interface", interface),
                            ("password", password)):
            self._note(name, value)
        self.interface = interface
        self.password = password
        self.controller = self.add(controller)
        self.controller.forget()
        self.configure()

    def configure(self, interface: str | None = None, password: str | None = None,
                  controller: str | None = None) -> None:
        """Writes the gateway's configuration. None stands for the correct value, "" for no option."""
        def option(name: str, value: str | None, right: str) -> str:
            value = right if value is None else value
            return f"\toption {name} '{value}'\n" if value else ""

        self._gateway.config("ghn", "config ghn 'ghn'\n"
                             + option("interface", interface, self.interface)
                             + option("password", password, self.password))
        self._gateway.config("nevra", "config baptization 'baptization'\n"
                             + option("LirnMacAddress", controller, self.controller.mac))

    def configure_own_password(self, password: str) -> None:
        """Gives the gateway its own password, which takes precedence over the common one."""
        self._gateway.config("nevra-private", "config baptization 'baptization'\n"
                                              f"\toption PwdGhnConfig '{password}'\n")

    def add(self, mac: str, serial: str = "", firmware: str = FIRST_VERSION, name: str = "adapter") -> Modem:
        """Plugs in a new modem and returns it. `mac` has lower-case digits and colons."""
        return Modem(self._directory / "devices" / mac, {
            END_DEVICE_PARAMETER: "YES",
            "SYSTEM.PRODUCTION.PRODUCT_CLASS": "GHN",
            "SYSTEM.PRODUCTION.DEVICE_NAME": name,
            "SYSTEM.PRODUCTION.HW_REVISION": "2",
            "SYSTEM.PRODUCTION.HW_PRODUCT": "PLC-500",
            "SYSTEM.PRODUCTION.SERIAL_NUMBER": serial,
            FIRMWARE_PARAMETER: firmware,
            **UPGRADE_PARAMETERS})

    def report_macs(self, text: str | None) -> None:
        """Makes the gateway's modem list these addresses whatever is there; None: the real ones."""
        if text is None:
            (self._directory / "reported-macs").unlink(missing_ok=True)
        else:
            self._note("reported-macs", text)

    def _note(self, name: str, value: str) -> None:
        (self._directory / name).write_text(f"{value}\n", encoding="utf-8")
