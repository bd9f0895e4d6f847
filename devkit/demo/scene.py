"""Everything that takes part: certificates, the update server, the gateway and the real daemon."""
import contextlib
import json
import pathlib
import queue
import re
import shutil
import signal
import tempfile
import time

from gateway import Gateway
from hawkbit_server import Slow, Tls, UpdateServer
from pki import Pki

from .build import Build
from .failure import DemoFailure
from .inventory import take_inventory
from .life import Life
from .rollouts import BEFORE, ERASE_SIZE, PARTITION

DEVICE = "gw-demo"
PROPERTIES = {"hw_revision": "3", "serial": "DEMO-0001", "site": "workbench"}
# Time enough between two polls to look at a deployment that is held back, and to accept it.
POLL = "00:00:20"
# Slow enough that the download of a few megabytes can be watched.
BYTES_PER_SECOND = 1_600_000

CONFIGURATION = """
config service 'service'
	option automatic_update '0'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""


class Scene:
    """A context manager: whatever way the demonstration ends, nothing of it is left.

    Happenings are server events, records of the daemon's log and reboots, in the order of their arrival.
    """

    def __init__(self, build_dir):
        self._build = Build(build_dir)
        self._happenings = queue.Queue()
        self._cleanup = contextlib.ExitStack()
        self._partition = None
        self.server = self.gateway = self.life = None

    def __enter__(self):
        with contextlib.ExitStack() as so_far:
            directory = pathlib.Path(tempfile.mkdtemp(prefix="zephran-demo-"))
            so_far.callback(shutil.rmtree, directory, ignore_errors=True)
            pki = Pki(directory / "pki", client_name=DEVICE)
            tls = Tls(pki.server.certificate, pki.server.key, pki.ca, client="required")
            self.server = UpdateServer(tls, poll=POLL)
            self.server.observe(self._happenings.put)
            so_far.enter_context(self.server)
            self.gateway = Gateway(directory / "gateway",
                                   library_path=self._build.store_library.parent,
                                   bus_path=self._build.bus_programs,
                                   visible=[directory, self._build.directory])
            so_far.callback(self.gateway.close)
            self._equip_gateway()
            self.life = Life(self.gateway, self._daemon_command(pki), self._happenings.put)
            self.life.start()
            so_far.callback(self.life.stop)
            self._cleanup = so_far.pop_all()
        return self

    def __exit__(self, *_):
        # A second Ctrl-C must not leave half of it behind.
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        self._cleanup.close()

    def _equip_gateway(self):
        """Leaves the gateway as it is before the release."""
        self.gateway.config("zephran", CONFIGURATION)
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
        """Offers the rollout to the device, as a soft action, and slows its downloads down."""
        modules = [self.server.software_module(chunk.type, chunk.name, chunk.version, chunk.files)
                   for chunk in rollout.chunks]
        self.server.order("artifact", Slow(BYTES_PER_SECOND), times=None)
        return self.server.assign(DEVICE, modules, type="soft")

    # ---- what can be seen

    def next_happening(self, deadline):
        """The next server event or log record; DemoFailure when none will come in time."""
        while True:
            with contextlib.suppress(queue.Empty):
                return self._happenings.get(timeout=0.2)
            self.life.check()
            if time.monotonic() > deadline:
                raise DemoFailure("nothing more happens")

    def pending_happenings(self):
        """Those that have arrived and were not taken yet."""
        while not self._happenings.empty():
            yield self._happenings.get()

    def inventory(self):
        """What is on the gateway now."""
        return take_inventory(self.gateway, self._partition)

    def configuration_library(self):
        """A sentence on what the running daemon really reads its configuration with."""
        maps = pathlib.Path(f"/proc/{self.gateway.outer_pid}/root/proc/{self.life.daemon.pid}/maps")
        loaded = re.search(r"\s(/\S*libuci\.so\S*)", maps.read_text(encoding="utf-8"))
        if loaded is None:
            return "none: the daemon has loaded no libuci"
        # Seen from inside a chroot, the path begins outside of it.
        library = self._build.store_library
        if loaded[1].endswith(str(library)):
            place = self._build.name_of(library)
            return f"the stand-in for libuci that devkit brings ({place}), not the real one"
        return f"{loaded[1]}, as found on this machine"

    def message_bus(self):
        """A sentence on what the daemon reaches the message bus with, and what else belongs to it."""
        place = self._build.name_of(self._build.bus_programs)
        return (f"{self._build.bus_libraries}; the broker ubusd and the command ubus are the ones "
                f"that devkit brings ({place})")
