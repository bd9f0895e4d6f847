# SPDX-License-Identifier: Apache-2.0
"""A real hawkBit behind nginx: one for a whole test run."""
from __future__ import annotations

from dataclasses import asdict, dataclass
from pathlib import Path

from driver import Access
from hawkbit_management import Management
from hawkbit_process import HawkbitProcess, jar_from_environment
from nginx import Nginx
from pki import Pki

SET_TYPE = "gateway"
# Types of modules that the server lacks (it has "os"), and how many modules of a type a set may contain.
MODULE_TYPES = {"script": 10, "opkg": 50, "bl": 1, "plc": 1, "plc_ghn": 1, "zw": 1}


@dataclass(frozen=True)
class Whereabouts:
    """Where the server is and what gateways need to reach it, in values that can be passed to another process."""

    management_port: int
    proxy_port: int
    proxy_directory: str
    upload_lock: str
    ca: str
    certificate: str
    key: str
    stranger_certificate: str
    stranger_key: str

    def access(self) -> Access:
        tls = Path(self.proxy_directory) / "tls"
        return Access(f"localhost:{self.proxy_port}", Path(self.ca), Path(self.certificate), Path(self.key),
                      (Path(self.stranger_certificate), Path(self.stranger_key)),
                      (tls / "server.crt", tls / "server.key"))

    def plain(self) -> dict[str, int | str]:
        return asdict(self)


class HawkbitSite:
    """Runs from its creation until close(); writes only below `directory`."""

    def __init__(self, directory: Path, poll: str) -> None:
        pki = Pki(directory / "pki", client_name="gateways")
        self.process = HawkbitProcess(jar_from_environment(), directory / "hawkbit", poll)
        self.proxy = Nginx(directory / "nginx", pki, self.process.port)
        self.whereabouts = Whereabouts(
            self.process.port, self.proxy.port, str(self.proxy.directory), str(directory / "upload.lock"),
            str(pki.ca), str(pki.client.certificate), str(pki.client.key),
            str(pki.stranger_client.certificate), str(pki.stranger_client.key))
        try:
            self.process.start()
            self.proxy.start()
            _make_types(self.process.management)
        except BaseException:
            self.close()
            raise

    def mend(self) -> None:
        """Restarts what has been stopped."""
        if not self.process.is_running():
            self.process.start()
        if not self.proxy.is_running():
            self.proxy.start()

    def close(self) -> None:
        self.proxy.stop()
        self.process.stop()


def _make_types(management: Management) -> None:
    made = management.post("softwaremoduletypes", [
        {"key": key, "name": key, "maxAssignments": most} for key, most in MODULE_TYPES.items()])
    own = [each for each in management.pages("softwaremoduletypes") if each["key"] == "os"]
    management.create("distributionsettypes", {
        "key": SET_TYPE, "name": SET_TYPE, "mandatorymodules": [],
        "optionalmodules": [{"id": each["id"]} for each in own + made]})
