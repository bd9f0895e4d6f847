"""Listens on 127.0.0.1, one thread for each connection."""

from __future__ import annotations

import socket
import socketserver
import ssl
import sys
import threading
from http.server import HTTPServer
from typing import Any

from .connection import Connection
from .ddi import Ddi
from .exchanges import Journal
from .faults import Faults

HOST = "127.0.0.1"
HANDSHAKE_SECONDS = 10.0


class HttpLayer(socketserver.ThreadingMixIn, HTTPServer):
    """`handshake_failures` holds the reasons of TLS handshakes that did not work out, `errors` what went wrong in
    the server itself (its tests must not overlook those)."""

    daemon_threads = True
    block_on_close = False
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
        self._open_lock = threading.Lock()
        super().__init__((HOST, port), Connection)

    @property
    def is_tls(self) -> bool:
        return self.context is not None

    def server_bind(self) -> None:
        """Without the look-up of the own name that the base class does."""
        socketserver.TCPServer.server_bind(self)
        self.server_name, self.server_port = self.server_address[:2]

    def process_request_thread(self, request: Any, client_address: Any) -> None:
        """The handshake is done here, so that a slow client holds up nobody else."""
        with self._open_lock:
            self._open.add(request)
        connection = request
        try:
            connection = self._shake_hands(request)
            if connection is not None:
                with self._open_lock:
                    self._open.add(connection)
                self.finish_request(connection, client_address)
        except Exception:  # whatever a bug raises is kept for stop(), which raises it again
            self.handle_error(request, client_address)
        finally:
            with self._open_lock:
                self._open -= {request, connection}
            self.shutdown_request(connection or request)

    def _shake_hands(self, request: socket.socket) -> socket.socket | None:
        if self.context is None:
            return request
        try:
            request.settimeout(HANDSHAKE_SECONDS)
            connection = self.context.wrap_socket(request, server_side=True)
            connection.settimeout(None)
        except OSError as error:
            self.handshake_failures.append(str(error))
            with self.ddi.store.changed:
                self.ddi.store.changed.notify_all()
            return None
        return connection

    def handle_error(self, request: Any, client_address: Any) -> None:
        error = sys.exc_info()[1]
        if error is not None and not self.stopping.is_set():
            self.errors.append(error)

    def end(self) -> None:
        """Stops listening and closes every connection."""
        self.stopping.set()
        self.faults.clear()
        self.shutdown()
        self.server_close()
        with self._open_lock:
            connections = list(self._open)
        for connection in connections:
            try:
                socket.socket.shutdown(connection, socket.SHUT_RDWR)
            except OSError:
                continue
