# SPDX-License-Identifier: Apache-2.0
"""A broker for a test, and clients that speak the wire format by hand: bytes in, bytes out.

The programs under test are those of the build, which are the stand-ins of the development kit or OpenWrt's own, or what
ZEPHRAN_UBUSD and ZEPHRAN_UBUS name.
"""
import contextlib
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time

import pytest

from openwrt.bus.wire import (
    A_DATA,
    A_ID,
    A_METHOD,
    A_PATH,
    A_SIGNATURE,
    A_STATUS,
    ADD_OBJECT,
    DATA,
    INVOKE,
    PING,
    STATUS,
    TABLE,
    Frame,
    attribute,
    frame,
    named,
    named_number,
    number,
    split,
    text,
)

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("ZEPHRAN_BUILD_DIR", PROJECT / "build/debug"))
UBUSD = pathlib.Path(os.environ.get("ZEPHRAN_UBUSD", BUILD / "devkit/openwrt/bin/ubusd"))
UBUS = pathlib.Path(os.environ.get("ZEPHRAN_UBUS", BUILD / "devkit/openwrt/bin/ubus"))

# Statements about what the stand-ins do beyond the originals, or instead of them.
standin_only = pytest.mark.skipif(UBUSD.exists() and UBUSD.read_bytes()[:2] != b"#!",
                                  reason="about the stand-in, not about the original")

# Sanitized builds on a busy machine are slow, and no test is about speed.
PATIENCE = 120


def words(text):
    """Bytes from groups of hexadecimal digits."""
    return bytes.fromhex(text)


def method(name, **arguments):
    """One method of a signature, with the types of its arguments."""
    return named(TABLE, name, b"".join(named_number(*item) for item in arguments.items()))


def until(condition, what):
    """Polls, because nothing tells a test when another process gets somewhere."""
    deadline = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < deadline, f"not within {PATIENCE} s: {what}"
        time.sleep(0.005)


class RawConnection:
    """Frames to and from whoever is at the other end."""

    def __init__(self, connected):
        self.socket = connected
        self.socket.settimeout(PATIENCE)

    def close(self):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def _receive(self, size):
        data = b""
        while len(data) < size:
            piece = self.socket.recv(size - len(data))
            if not piece:
                raise EOFError(f"the broker closed the connection after {data!r}")
            data += piece
        return data

    def frame(self):
        head = self._receive(12)
        received = Frame(head + self._receive(struct.unpack(">I", head[8:])[0] - 4))
        assert split(received.payload)[1], received.bytes.hex(" ", -4)
        return received


class RawClient(RawConnection):
    """A client of a broker. The greeting is taken by the constructor."""

    def __init__(self, path):
        super().__init__(socket.socket(socket.AF_UNIX))
        self.socket.connect(str(path))
        self.greeting = self.socket.recv(4096)
        self.id = struct.unpack(">I", self.greeting[4:8])[0]
        self.sequence = 0

    def closed_by_broker(self):
        try:
            return self.socket.recv(1) == b""
        except ConnectionResetError:
            return True

    def request(self, kind, payload=b"", peer=0):
        """The answers to a request: frames of data, and the number of the status."""
        self.sequence += 1
        self.send(frame(kind, self.sequence, peer, payload))
        data = []
        while True:
            answer = self.frame()
            if (answer.sequence, answer.peer) != (self.sequence, peer):
                raise AssertionError(f"not an answer to this: {answer.bytes.hex(' ', -4)}")
            if answer.type == STATUS:
                return data, answer.attributes[A_STATUS]
            assert answer.type == DATA
            data.append(answer)

    def settled(self):
        """Whether nothing is under way to this client: a ping overtakes nothing."""
        return self.request(PING)[1] == 0

    def add(self, name=None, signature=b""):
        """The id of a new object; without a name it has no signature either."""
        payload = text(A_PATH, name) + attribute(A_SIGNATURE, signature) if name else b""
        data, status = self.request(ADD_OBJECT, payload)
        assert status == 0
        return data[0].attributes[A_ID]

    def invoke(self, object_id, method_name, data=b"", more=b""):
        self.sequence += 1
        self.send(frame(INVOKE, self.sequence, object_id, number(A_ID, object_id) +
                        text(A_METHOD, method_name) + more + attribute(A_DATA, data)))
        return self.sequence

    def reply(self, call, data):
        self.send(frame(DATA, call.sequence, call.peer,
                        number(A_ID, call.attributes[A_ID]) + attribute(A_DATA, data)))

    def finish(self, call, status=0):
        self.send(frame(STATUS, call.sequence, call.peer,
                        number(A_STATUS, status) + number(A_ID, call.attributes[A_ID])))


class Bus(contextlib.ExitStack):
    """A broker in a directory of its own."""

    def __init__(self):
        super().__init__()
        # The path of a socket has about a hundred bytes, which pytest's directories can exceed.
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="zb-", dir="/tmp"))
        self.callback(shutil.rmtree, self.directory)
        self.path = self.directory / "bus"
        self.log = self.enter_context((self.directory / "log").open("w+", encoding="utf-8"))
        self.process = None

    def start(self):
        """A broker that takes the path over, if there is one already."""
        before = os.stat(self.path).st_ino if self.path.exists() else None
        process = subprocess.Popen([UBUSD, "-s", self.path], stderr=self.log)
        self.callback(self._end, process)
        until(lambda: self._serves(process, before), "a broker that listens")
        self.process = process
        return process

    def _serves(self, process, before):
        assert process.poll() is None, self.errors()
        if not self.path.exists() or os.stat(self.path).st_ino == before:
            return False
        try:
            self.client().close()
        except ConnectionRefusedError:
            return False
        return True

    def _end(self, process):
        """A broker that did not live to this point, or does not end well, fails its test."""
        if process.returncode is None:
            process.send_signal(signal.SIGTERM)
            assert process.wait(PATIENCE) == 0, self.errors()

    def stop(self):
        self._end(self.process)

    @contextlib.contextmanager
    def paused(self):
        """Within it the broker does nothing, and then learns of everything at once."""
        self.process.send_signal(signal.SIGSTOP)
        try:
            until(lambda: "T (stopped)" in pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii"),
                  "a broker that is stopped")
            yield
        finally:
            self.process.send_signal(signal.SIGCONT)

    def client(self):
        client = RawClient(self.path)
        self.callback(client.close)
        return client

    def errors(self):
        self.log.flush()
        return (self.directory / "log").read_text(encoding="utf-8")
