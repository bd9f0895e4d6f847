# SPDX-License-Identifier: Apache-2.0
"""A private path to the real server for a recorded scenario."""
from __future__ import annotations

import contextlib
import dataclasses
import warnings
from collections.abc import Callable, Iterator
from pathlib import Path
from types import SimpleNamespace

from driver import Server
from hawkbit_driver import HawkbitServer
from hawkbit_site import Whereabouts
from nginx import Nginx
from pki import KeyPair
from recording import NotRecorded, Recording, RecordingServer
from relay import Relay


@contextlib.contextmanager
def recorded_server(whereabouts: Whereabouts, directory: Path, recording: Recording,
                    has_passed: Callable[[], bool]) -> Iterator[Server]:
    """The real server behind an nginx and a relay that nobody else uses.

    At the end, writes the fixture if the scenario has passed; a warning says why if there is none.
    """
    relay = Relay(whereabouts.management_port, recording.exchange, recording.lock)
    proxy = Nginx(directory / "recording-nginx", _pki(whereabouts), relay.port)
    try:
        proxy.start()
        own = dataclasses.replace(whereabouts, proxy_port=proxy.port, proxy_directory=str(proxy.directory))
        server = RecordingServer(HawkbitServer(own, None), recording)
        yield server
        if has_passed():
            recording.write(server)
    except NotRecorded as reason:
        warnings.warn(f"{recording.scenario} is not recorded: {reason}", stacklevel=1)
    finally:
        proxy.stop()
        relay.close()


def _pki(whereabouts: Whereabouts) -> SimpleNamespace:
    """The certificates that the other nginx presents and trusts."""
    tls = Path(whereabouts.proxy_directory) / "tls"
    return SimpleNamespace(ca=whereabouts.ca, server=KeyPair(tls / "server.crt", tls / "server.key", tls))
