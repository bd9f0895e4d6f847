# SPDX-License-Identifier: Apache-2.0
"""Listens on 127.0.0.1, one thread for each connection."""

from __future__ import annotations

import os
import socket
import socketserver
import ssl
import threading
from http.server import HTTPServer
from typing import Any

from .connection import Connection
from .ddi import Ddi
from .delivery import PIECE, end_connection
from .exchanges import Journal
from .faults import Drop, Ending, Stall
from .orders import Faults

HOST = "127.0.0.1"
HANDSHAKE_SECONDS = 10.0
JOIN_SECONDS = 10.0
RECHECK = 0.05


class HttpLayer(HTTPServer):
    """`handshake_failures` holds the reasons why connections ended before their first request, `errors` the failures of
    the server itself (its tests must not overlook them)."""

    allow_reuse_address = True
    request_queue_size = 128

    def __init__(self, port: int, context: ssl.SSLContext | None, ddi: Ddi, journal: Journal, faults: Faults) -> None:
        self.context = context
        self.ddi = ddi
        self.journal = journal
        self.faults = faults
        self.stopping = threading.Event()
        self.handshake_failures: list[str] = []
        self.errors: list[BaseException] = []
        self._open: set[socket.socket] = set()
        self._threads: set[threading.Thread] = set()
        self._open_lock = threading.Lock()
        self._until_gone: int | None = None
        self._listens = threading.Event()
        self._listens.set()
        super().__init__((HOST, port), Connection)

    @property
    def is_tls(self) -> bool:
        return self.context is not None

    def server_bind(self) -> None:
        """Unlike the base class, does not look up the host's name."""
        socketserver.TCPServer.server_bind(self)
        self.server_name, self.server_port = HOST, self.server_address[1]

    def refuse_after(self, connections: int) -> None:
        """Stops listening once so many more connections have come."""
        self._until_gone = connections
        self._look_whether_gone()

    @property
    def is_listening(self) -> bool:
        return self._listens.is_set()

    def listen_again(self) -> None:
        self._until_gone = None
        self.socket.listen(self.request_queue_size)
        self._listens.set()

    def _look_whether_gone(self) -> None:
        if self._until_gone == 0:
            self._listens.clear()
            self._become_deaf()

    def _become_deaf(self) -> None:
        """Puts a socket that only keeps the port in the listener's place: one that has listened cannot do so again."""
        self.socket.shutdown(socket.SHUT_RD)
        with socket.socket() as bound:
            bound.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            bound.bind(self.server_address)
            os.dup2(bound.fileno(), self.socket.fileno(), inheritable=False)

    def get_request(self) -> tuple[Any, Any]:
        # A socket that does not listen is always reported as ready.
        self._listens.wait(RECHECK)
        request = super().get_request()
        if self._until_gone is not None:
            self._until_gone -= 1
            self._look_whether_gone()
        return request

    def process_request(self, request: Any, client_address: Any) -> None:
        """Unlike those of the base class, these threads are daemons, and are still waited for at the end."""
        thread = threading.Thread(target=self.process_request_thread, args=(request, client_address), daemon=True)
        with self._open_lock:
            self._threads.add(thread)
        thread.start()

    def process_request_thread(self, request: Any, client_address: Any) -> None:
        """Does the handshake in this thread, so that a slow client delays nobody else."""
        connection = request
        try:
            with self._open_lock:
                self._open.add(request)
            if not self._is_let_in(request):
                return
            connection = self._wrap(request)
            with self._open_lock:
                self._open.remove(request)
                self._open.add(connection)
            self._shake_hands(connection)
            self.finish_request(connection, client_address)
        except OSError as error:
            self.handshake_failures.append(str(error))
            with self.ddi.store.changed:
                self.ddi.store.changed.notify_all()
        except Exception as error:  # whatever a bug raises is kept, and raised again by stop()
            self.errors.append(error)
        finally:
            self.shutdown_request(connection)
            with self._open_lock:
                self._open -= {request, connection}
                self._threads.remove(threading.current_thread())

    def _is_let_in(self, request: socket.socket) -> bool:
        """Whether the connection goes on to its handshake, once the faults of both kinds have done with it."""
        fault = self.faults.take("accept", None)
        if isinstance(fault, Drop):
            end_connection(request, fault.ending)
            return False
        if isinstance(fault, Stall):
            fault.hold()
        fault = self.faults.take("handshake", None) if self.context is not None else None
        if fault is None:
            return True
        self._begin_handshake(request)
        if isinstance(fault, Stall):
            fault.hold()
        end_connection(request, fault.ending if isinstance(fault, Drop) else Ending.CLOSED)
        return False

    def _begin_handshake(self, request: socket.socket) -> None:
        """Answers the client's greeting with the first half of the server's."""
        assert self.context is not None
        arrived, to_send = ssl.MemoryBIO(), ssl.MemoryBIO()
        handshake = self.context.wrap_bio(arrived, to_send, server_side=True)
        while not to_send.pending:
            greeting = request.recv(PIECE)
            if not greeting:
                raise ConnectionAbortedError("the client went away in the handshake")
            arrived.write(greeting)
            try:
                handshake.do_handshake()
            except ssl.SSLWantReadError:
                continue
        request.sendall(to_send.read(to_send.pending // 2))

    def _wrap(self, request: socket.socket) -> socket.socket:
        if self.context is None:
            return request
        return self.context.wrap_socket(request, server_side=True, do_handshake_on_connect=False)

    @staticmethod
    def _shake_hands(connection: socket.socket) -> None:
        if isinstance(connection, ssl.SSLSocket):
            connection.settimeout(HANDSHAKE_SECONDS)
            connection.do_handshake()
            connection.settimeout(None)

    def end(self) -> None:
        """Stops listening and closes every connection."""
        self.stopping.set()
        self.faults.clear()
        self.shutdown()
        self.server_close()
        with self._open_lock:
            connections = list(self._open)
            threads = self._threads - {threading.current_thread()}
        for connection in connections:
            try:
                socket.socket.shutdown(connection, socket.SHUT_RDWR)
            except OSError:
                continue  # Gone already.
        for thread in threads:
            thread.join(JOIN_SECONDS)
