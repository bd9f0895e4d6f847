# SPDX-License-Identifier: Apache-2.0
"""The broker as a program: its socket, its clients, and the loop that serves them by turns."""
from __future__ import annotations

import collections
import contextlib
import errno
import grp
import os
import pwd
import select
import signal
import socket
import stat
import struct
import sys

from . import wire
from .broker import Broker, Sender
from .options import UsageError, complain, parse
from .registry import unused_id

# More than this does not wait for a client that does not read.
LARGEST_QUEUE = wire.LARGEST_LENGTH
PIECE = 65536
CREDENTIALS = struct.Struct("=iII")
OUT_OF_DESCRIPTORS = (errno.EMFILE, errno.ENFILE)
FULL = (errno.EAGAIN, errno.EINTR, errno.ENOBUFS)


class Client:
    """One connection. It is greeted in one piece, which a new socket has room for."""

    def __init__(self, connection: socket.socket, client_id: int) -> None:
        self.socket = connection
        self.sender = identify(connection, client_id)
        # The connection is over, from whichever end.
        self.gone = False
        self._input = wire.Assembler()
        self._output: collections.deque[memoryview] = collections.deque()
        self._waiting = 0
        connection.setblocking(False)
        self.send(wire.frame(wire.HELLO, 0, client_id))

    def events(self) -> int:
        return select.POLLIN | select.POLLRDHUP | (select.POLLOUT if self._output else 0)

    def send(self, data: bytes) -> None:
        """Never waits; what a client too far behind is sent is dropped without a word."""
        if self.gone or (self._output and self._waiting + len(data) > LARGEST_QUEUE):
            return
        self._waiting += len(data)
        self._output.append(memoryview(data))
        self.flush()

    def flush(self) -> None:
        try:
            while self._output:
                sent = self.socket.send(self._output[0])
                self._waiting -= sent
                rest = self._output.popleft()[sent:]
                if rest:
                    self._output.appendleft(rest)
        except OSError as error:
            self.gone = error.errno not in FULL

    def receive(self) -> None:
        """Reads a limited amount, so that no client keeps the others waiting."""
        try:
            data = self.socket.recv(PIECE)
        except OSError as error:
            self.gone = error.errno not in FULL
            return
        self.gone = not data
        self._input.add(data)

    def next_frame(self) -> wire.Frame | None:
        """The next complete frame; none once the connection is over."""
        if self.gone:
            return None
        try:
            return self._input.next()
        except wire.FramingError as error:
            self._disconnect(f"it sent {error}")
            return None

    def _disconnect(self, reason: str) -> None:
        self.gone = True
        complain("ubusd", f"client {self.sender.id:08x} disconnected: {reason}")


def identify(connection: socket.socket, client_id: int) -> Sender:
    data = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, CREDENTIALS.size)
    _, uid, gid = CREDENTIALS.unpack(data)
    user, group = str(uid), str(gid)
    with contextlib.suppress(KeyError):
        user = pwd.getpwuid(uid).pw_name
    with contextlib.suppress(KeyError):
        group = grp.getgrgid(gid).gr_name
    return Sender(client_id, user, group)


class Server:
    def __init__(self, listener: socket.socket) -> None:
        self._listener = listener
        self._clients: dict[int, Client] = {}
        self._broker = Broker(self._deliver)
        # Out of descriptors, nobody can be let in until somebody leaves.
        self._accepting = True

    def run(self) -> None:
        while True:
            poller = select.poll()
            if self._accepting:
                poller.register(self._listener, select.POLLIN)
            by_descriptor = {each.socket.fileno(): each for each in self._clients.values()}
            for descriptor, client in by_descriptor.items():
                poller.register(descriptor, client.events())
            ready = dict(poller.poll())
            called = ready.pop(self._listener.fileno(), 0)
            self._serve([(by_descriptor[descriptor], events) for descriptor, events in ready.items()])
            if called:
                self._accept()

    def _deliver(self, client_id: int, data: bytes) -> None:
        if client_id in self._clients:
            self._clients[client_id].send(data)

    def _accept(self) -> None:
        try:
            connection = self._listener.accept()[0]
        except OSError as error:
            if error.errno in OUT_OF_DESCRIPTORS:
                self._accepting = False
                complain("ubusd", "no descriptor is left for another client")
            return
        client_id = unused_id(self._clients)
        self._clients[client_id] = Client(connection, client_id)

    def _serve(self, ready: list[tuple[Client, int]]) -> None:
        # What a client has sent just before it left is not read, and its names are free for the others.
        for client, events in ready:
            client.gone = client.gone or events & (select.POLLHUP | select.POLLRDHUP) != 0
        self._remove_gone_clients()
        for client, events in ready:
            if events & select.POLLOUT and not client.gone:
                client.flush()
            if events & (select.POLLIN | select.POLLERR) and not client.gone:
                self._receive_from(client)
        self._remove_gone_clients()

    def _receive_from(self, client: Client) -> None:
        client.receive()
        while frame := client.next_frame():
            self._broker.handle(client.sender, frame)

    def _remove_gone_clients(self) -> None:
        # Telling the others of the end may be too much for one of them.
        while gone := [each for each in self._clients.values() if each.gone]:
            for client in gone:
                del self._clients[client.sender.id]
                client.socket.close()
                self._broker.forget(client.sender.id)
            self._accepting = True


@contextlib.contextmanager
def listening(path: str):
    """A socket that everybody may connect to. At the end the file goes."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM | socket.SOCK_NONBLOCK) as listener:
        if len(os.fsencode(path)) > 107:
            raise OSError(errno.EINVAL, os.strerror(errno.EINVAL))
        with contextlib.suppress(FileNotFoundError):
            if stat.S_ISSOCK(os.lstat(path).st_mode):
                os.unlink(path)
        # No moment passes in which only the owner may connect.
        mask = os.umask(0o111)
        try:
            listener.bind(path)
        finally:
            os.umask(mask)
        listener.listen(socket.SOMAXCONN)
        try:
            yield listener
        finally:
            # Also if another broker has taken the path over meanwhile.
            with contextlib.suppress(FileNotFoundError):
                os.unlink(path)


def main(arguments: list[str]) -> int:
    try:
        options, _ = parse(arguments, flags="", valued="s")
        path = options.get("s", wire.DEFAULT_SOCKET)
    except UsageError:
        print("Usage: ubusd [-s socket]", file=sys.stderr)
        return 1
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: sys.exit(0))
    try:
        if path == wire.DEFAULT_SOCKET:
            os.makedirs(os.path.dirname(path), exist_ok=True)
        with listening(path) as listener:
            Server(listener).run()
    except OSError as error:
        print(f"usock: {error.strerror}", file=sys.stderr)
        return 255
    return 0
