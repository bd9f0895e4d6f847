"""Those who take part in the demonstration of the powerline network."""
import contextlib
import pathlib
import queue
import shutil
import signal
import tempfile
import time

from gateway import Gateway, Powerline, powerline_image
from hawkbit_server import Tls, UpdateServer
from pki import Pki

from .build import Build
from .daemon_log import Follower
from .failure import DemoFailure

GATEWAY = "gw-demo"
# One adapter tells a serial number, the other one does not: it goes by its address.
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


class GhnScene:
    """A context manager. Happenings are server events and records of the daemon's log."""

    def __init__(self, build_dir):
        self._build = Build(build_dir)
        self._happenings = queue.Queue()
        self._cleanup = contextlib.ExitStack()
        self._follower = None
        self.server = self.gateway = self.powerline = self.daemon = None
        self.to_update = self.to_unplug = None

    def __enter__(self):
        with contextlib.ExitStack() as so_far:
            directory = pathlib.Path(tempfile.mkdtemp(prefix="zephran-demo-"))
            so_far.callback(shutil.rmtree, directory, ignore_errors=True)
            pki = Pki(directory / "pki", client_name=GATEWAY)
            self.server = UpdateServer(Tls(pki.server.certificate, pki.server.key), poll=POLL)
            self.server.observe(self._happenings.put)
            so_far.enter_context(self.server)
            self.gateway = Gateway(directory / "gateway",
                                   library_path=self._build.store_library.parent,
                                   bus_path=self._build.bus_programs,
                                   visible=[directory, self._build.directory])
            so_far.callback(self.gateway.close)
            self._plug_in_modems()
            self._start_daemon(pki)
            self._cleanup = so_far.pop_all()
        return self

    def __exit__(self, *_):
        # A second Ctrl-C must not leave half of it behind.
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        self._cleanup.close()

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
        """The operator gives the adapter with the serial number its new firmware."""
        module = self.server.software_module("plc_ghn", "adapter-firmware", NEW_FIRMWARE,
                                             {FILE_NAME: powerline_image(NEW_FIRMWARE, 60_000)})
        return self.server.assign(SERIAL, [module])

    def agents(self):
        """What the daemon tells of its agents over the message bus: {id: attributes}."""
        return {agent["id"]: agent["config"]
                for agent in self.gateway.bus.call("get_agents")["agents"]}

    def stop_daemon(self):
        """Asks the daemon to stop and returns its exit status; its whole log has been read then."""
        status = self.daemon.terminate()
        self._follower.stop()
        return status

    # ---- what can be seen

    def next_happening(self, deadline):
        """The next server event or log record; DemoFailure when none will come in time."""
        while True:
            with contextlib.suppress(queue.Empty):
                return self._happenings.get(timeout=0.2)
            if not self.daemon.is_running():
                raise DemoFailure(f"the daemon ended with status {self.daemon.exit_status}")
            if time.monotonic() > deadline:
                raise DemoFailure("nothing more happens")

    def pending_happenings(self):
        """Those that have arrived and were not taken yet."""
        while not self._happenings.empty():
            yield self._happenings.get()
