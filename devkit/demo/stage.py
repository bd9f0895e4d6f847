# SPDX-License-Identifier: Apache-2.0
"""What every demonstration needs: certificates, an update server, a gateway, and what happens to them."""
import contextlib
import pathlib
import queue
import shutil
import signal
import tempfile
import time
from collections.abc import Iterator
from typing import Any, Self

from gateway import Gateway
from hawkbit_server import Tls, UpdateServer
from pki import Pki

from .build import Build
from .failure import DemoFailure


class Stage:
    """A context manager: however the demonstration ends, it leaves nothing behind.

    Happenings are server events, records of the daemon's log and reboots, in the order of their arrival.

    device  the gateway's target id
    poll    the polling time that the server prescribes
    client  what the server wants of its clients' certificates (see Tls)
    """

    server: UpdateServer
    gateway: Gateway

    def __init__(self, build_dir: str | pathlib.Path, device: str, poll: str, client: str) -> None:
        self._build = Build(build_dir)
        self._device = device
        self._poll = poll
        self._client = client
        self._happenings: queue.Queue[Any] = queue.Queue()
        self._cleanup = contextlib.ExitStack()

    def __enter__(self) -> Self:
        with contextlib.ExitStack() as so_far:
            directory = pathlib.Path(tempfile.mkdtemp(prefix="zephran-demo-"))
            so_far.callback(shutil.rmtree, directory, ignore_errors=True)
            pki = Pki(directory / "pki", client_name=self._device)
            tls = Tls(pki.server.certificate, pki.server.key, pki.ca, client=self._client)
            self.server = UpdateServer(tls, poll=self._poll)
            self.server.observe(self._happenings.put)
            so_far.enter_context(self.server)
            self.gateway = Gateway(directory / "gateway",
                                   library_path=self._build.store_library.parent,
                                   bus_path=self._build.bus_programs,
                                   visible=[directory, self._build.directory])
            so_far.callback(self.gateway.close)
            self._start(pki, so_far)
            self._cleanup = so_far.pop_all()
        return self

    def __exit__(self, *_: object) -> None:
        # A second Ctrl-C must not leave half of it behind.
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        self._cleanup.close()

    def _start(self, pki: Pki, cleanup: contextlib.ExitStack) -> None:
        """Sets up the gateway and starts the daemon on it."""
        raise NotImplementedError

    def _check(self) -> None:
        """Raises DemoFailure when the daemon has ended by itself."""
        raise NotImplementedError

    def next_happening(self, deadline: float) -> Any:
        """The next happening; DemoFailure when there is none in time."""
        while True:
            with contextlib.suppress(queue.Empty):
                return self._happenings.get(timeout=0.2)
            self._check()
            if time.monotonic() > deadline:
                raise DemoFailure("nothing more happens")

    def pending_happenings(self) -> Iterator[Any]:
        """Those that have arrived and were not taken yet."""
        while not self._happenings.empty():
            yield self._happenings.get()
