# SPDX-License-Identifier: Apache-2.0
"""Clients that say to the gateway's broker what no library would."""
import contextlib
import os

from bus_bench import RawClient
from openwrt.bus.wire import A_DATA, A_ID, A_METHOD, A_PATH, INT8, INVOKE, LOOKUP, attribute, frame, named, number, text

FAILED = named(INT8, "success", b"\0")
SUCCEEDED = named(INT8, "success", b"\1")


@contextlib.contextmanager
def bus_directory(bench):
    """A short path to the directory of the broker's socket; such paths must not be long."""
    directory = os.open(bench.gateway.run_dir / "run/ubus", os.O_PATH)
    try:
        yield f"/proc/self/fd/{directory}"
    finally:
        os.close(directory)


class Caller(RawClient):
    """Calls methods of the daemon with whatever bytes as arguments."""

    def __init__(self, path):
        super().__init__(path)
        data, status = self.request(LOOKUP, text(A_PATH, "zephran"))
        assert status == 0
        self.object_id = data[0].attributes[A_ID]

    def call(self, method, arguments=b""):
        """The replies and the status."""
        payload = (number(A_ID, self.object_id) + text(A_METHOD, method) +
                   attribute(A_DATA, arguments))
        data, status = self.request(INVOKE, payload, self.object_id)
        return [each.attributes[A_DATA] for each in data], status

    def throw(self, payload):
        """Sends a call and does not wait for an answer; the broker has dealt with it afterwards."""
        self.sequence += 1
        self.send(frame(INVOKE, self.sequence, self.object_id, payload))


@contextlib.contextmanager
def raw_caller(bench):
    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(bus_directory(bench))
        yield stack.enter_context(contextlib.closing(Caller(f"{directory}/ubus.sock")))
