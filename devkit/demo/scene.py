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
from .daemon_log import Follower
from .failure import DemoFailure

DEVICE = "gw-demo"
PROPERTIES = {"hw_revision": "3", "serial": "DEMO-0001", "site": "workbench"}
# Time enough between two polls to look at a deployment that is held back, and to accept it.
POLL = "00:00:20"
# Slow enough that the download of a few megabytes can be watched.
BYTES_PER_SECOND = 1_600_000
INSTALLED = "etc/demo"

CONFIGURATION = """
config service 'service'
	option automatic_update '0'

config schedule 'schedule'
	option enabled '0'

config device 'device'
"""


class Scene:
    """A context manager: whatever way the demonstration ends, nothing of it is left.

    Happenings are server events and records of the daemon's log, in the order of their arrival.
    """

    def __init__(self, build_dir):
        self._build = Build(build_dir)
        self._happenings = queue.Queue()
        self._cleanup = contextlib.ExitStack()
        self._follower = None
        self.server = self.gateway = self.daemon = None

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
            self._start_daemon(pki)
            so_far.callback(self._follower.stop)
            self._cleanup = so_far.pop_all()
        return self

    def __exit__(self, *_):
        # A second Ctrl-C must not leave half of it behind.
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        self._cleanup.close()

    def _start_daemon(self, pki):
        self.gateway.config("zephran", CONFIGURATION)
        properties = self.gateway.run_dir / "properties.json"
        properties.write_text(json.dumps(PROPERTIES), encoding="utf-8")
        self.daemon = self.gateway.start_daemon([
            self._build.daemon, "--device-id", DEVICE, "--hawkbit-server", self.server.address,
            "--ca-bundle", pki.ca, "--client-certificate", pki.client.certificate,
            "--client-certificate-key", pki.client.key, "--properties-file", properties,
            "--log-level", "DEBUG"])
        self._follower = Follower(self.daemon, self._happenings.put)

    # ---- the operator

    def assign(self, rollout):
        """Offers the rollout to the device, as a soft action, and slows its downloads down."""
        modules = [self.server.software_module("script", chunk.name, chunk.version, chunk.files)
                   for chunk in rollout.chunks]
        self.server.order("artifact", Slow(BYTES_PER_SECOND), times=None)
        return self.server.assign(DEVICE, modules, type="soft")

    # ---- what can be seen

    def next_happening(self, deadline):
        """The next server event or log record; DemoFailure when none will come in time."""
        while True:
            with contextlib.suppress(queue.Empty):
                return self._happenings.get(timeout=0.2)
            self.check_daemon()
            if time.monotonic() > deadline:
                raise DemoFailure("nothing more happens")

    def pending_happenings(self):
        """Those that have arrived and were not taken yet."""
        while not self._happenings.empty():
            yield self._happenings.get()

    def check_daemon(self):
        if not self.daemon.is_running():
            raise DemoFailure(f"the daemon has ended by itself, with status "
                              f"{self.daemon.exit_status}")

    def installed_files(self):
        """Names and contents in the gateway's /etc/demo."""
        directory = pathlib.Path(f"/proc/{self.gateway.outer_pid}/root") / INSTALLED
        if not directory.is_dir():
            return {}
        return {each.name: each.read_bytes() for each in directory.iterdir()}

    def configuration_library(self):
        """A sentence on what the running daemon really reads its configuration with."""
        maps = pathlib.Path(f"/proc/{self.gateway.outer_pid}/root/proc/{self.daemon.pid}/maps")
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

    def stop_daemon(self):
        """Asks the daemon to stop, hands on the rest of its log, and returns its exit status."""
        status = self.daemon.terminate(timeout=30)
        self._follower.stop()
        return status
