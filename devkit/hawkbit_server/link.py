# SPDX-License-Identifier: Apache-2.0
"""A link between gateways and an update server, whichever that is: it can be cut, held up, or answer in its place.

It ends TLS on the gateways' side, so that it knows requests from answers and counts the bytes of a body, not those of
TLS. Each connection carries one request.
"""

from __future__ import annotations

import re
import socket
import socketserver
import ssl
import threading
from collections.abc import Callable
from dataclasses import dataclass
from email.parser import BytesHeaderParser
from pathlib import Path
from typing import Any

from . import errors
from .connection import head_of
from .delivery import PIECE, end_connection
from .faults import Code, Ending
from .http_layer import HOST
from .reply import Reply
from .tls import Tls

LONGEST_HEAD = 65536
TIMEOUT = 120
# "Expect" is answered by the link itself, as it takes the whole request before it passes it on.
_OWN_HEADERS = re.compile(rb"^(?:connection|expect):.*\r\n", re.I | re.M)


@dataclass(frozen=True)
class Peer:
    """The server behind a link. With a `ca` it speaks TLS, and is shown the certificate; without one it speaks plain
    HTTP, and is told in headers what its gateways use."""

    port: int
    ca: Path | None = None
    certificate: Path | None = None
    key: Path | None = None

    def connect(self) -> socket.socket:
        """A new connection. Throws OSError."""
        plain = socket.create_connection((HOST, self.port), TIMEOUT)
        if self.ca is None:
            return plain
        context = ssl.create_default_context(cafile=self.ca)
        if self.certificate is not None:
            context.load_cert_chain(self.certificate, self.key)
        return context.wrap_socket(plain, server_hostname="localhost")


@dataclass(eq=False)
class Passage:
    """A request, and what the gateway got of its answer: `status` once that is known, `sent` bytes of the body."""

    method: str
    path: str
    headers: dict[str, str]
    body: bytes
    status: int | None = None
    sent: int = 0


class Link:
    """Listens on a free port from its creation until `close()`."""

    def __init__(self, tls: Tls, peer: Peer) -> None:
        self.context = tls.context()
        self.peer = peer
        self.errors: list[BaseException] = []
        self.passages: list[Passage] = []
        self.open = threading.Event()
        self.open.set()
        self.longest: int | None = None
        self._refusal: tuple[Callable[[Passage], bool], Code] | None = None
        self._listener = _Listener((HOST, 0), _Connection)
        self._listener.link = self
        self._thread = threading.Thread(target=self._listener.serve_forever, kwargs={"poll_interval": 0.05},
                                        name="link", daemon=True)
        self._thread.start()

    def __enter__(self) -> Link:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    @property
    def address(self) -> str:
        """What a gateway is told: host:port. The certificate must be one for localhost."""
        return f"localhost:{self._listener.server_address[1]}"

    def cut_every(self, count: int | None) -> None:
        """Ends every connection once so many bytes of an answer's body have passed; None ends that."""
        self.longest = count

    def hold(self) -> None:
        """Lets no further request through until `release()`."""
        self.open.clear()

    def release(self) -> None:
        """Lets those that were held through, and all others."""
        self.open.set()

    def refuse(self, matches: Callable[[Passage], bool], code: Code) -> None:
        """Answers such requests itself until `accept()`; the server does not see them."""
        self._refusal = matches, code

    def accept(self) -> None:
        """Ends `refuse()`."""
        self._refusal = None

    def answer_to(self, passage: Passage) -> Code | None:
        """The link's own answer, if it has one."""
        refusal = self._refusal
        return refusal[1] if refusal is not None and refusal[0](passage) else None

    def redirect(self, document: bytes) -> bytes:
        """A document whose links lead through this link, though a proxy built them with a port of its own.

        Its length was announced already, and does not change: ports for tests have five digits.
        """
        changed = document.replace(f"localhost:{self.peer.port}/".encode(), f"{self.address}/".encode())
        if len(changed) != len(document):
            raise ValueError(f"the ports {self.peer.port} and {self.address} are not equally long")
        return changed

    def close(self) -> None:
        """Stops listening. Throws what has gone wrong in the link itself."""
        self.release()
        self._listener.shutdown()
        self._thread.join()
        self._listener.server_close()
        if self.errors:
            raise RuntimeError(f"the link had {len(self.errors)} error(s)") from self.errors[0]


class _Listener(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True
    block_on_close = False
    request_queue_size = 64
    link: Link


class _Connection(socketserver.BaseRequestHandler):
    server: _Listener

    def handle(self) -> None:
        try:
            with self.server.link.context.wrap_socket(self.request, server_side=True) as connection:
                _Transit(self.server.link, connection).serve()
        except (OSError, _GoneError):
            return  # One of the two has gone; the other one notices its closed connection.
        except Exception as error:  # whatever a bug raises is kept, and raised again by close()
            self.server.link.errors.append(error)


class _GoneError(Exception):
    """A message ended before its head was complete."""


class _Transit:
    """One connection of a gateway."""

    def __init__(self, link: Link, gateway: ssl.SSLSocket) -> None:
        self._link = link
        self._gateway = gateway

    def serve(self) -> None:
        head, begun = _read_head(self._gateway)
        headers = _headers_of(head)
        if "expect" in headers:
            self._gateway.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
        body = begun + _read_exactly(self._gateway, int(headers.get("content-length", "0")) - len(begun))
        method, path, _ = head.partition(b"\r\n")[0].decode("latin-1").split(" ")
        passage = Passage(method, path, headers, body)
        self._link.passages.append(passage)
        self._link.open.wait()
        answer = self._link.answer_to(passage)
        if answer is not None:
            self._refuse(passage, answer)
            return
        with self._link.peer.connect() as server:
            server.sendall(self._for_the_server(head, headers) + body)
            self._pass_answer(server, passage)

    def _for_the_server(self, head: bytes, headers: dict[str, str]) -> bytes:
        own = b"Connection: close\r\n"
        if self._link.peer.ca is None:
            host = headers["host"]
            own += (f"X-Forwarded-Proto: https\r\nX-Forwarded-Host: {host}\r\n"
                    f"X-Forwarded-Port: {host.rpartition(':')[2]}\r\n").encode("latin-1")
        return _OWN_HEADERS.sub(b"", head)[:-2] + own + b"\r\n"

    def _refuse(self, passage: Passage, code: Code) -> None:
        body, content_type = code.content()
        passage.status, passage.sent = code.status, len(body)
        reply = Reply(code.status, body, content_type or errors.JSON_TYPE, {**code.headers, "Connection": "close"})
        self._gateway.sendall(head_of(reply) + body)

    def _pass_answer(self, server: socket.socket, passage: Passage) -> None:
        head, piece = _read_head(server)
        passage.status = int(head.split(b" ")[1])
        self._gateway.sendall(head)
        if "json" in _headers_of(head).get("content-type", ""):
            piece = self._link.redirect(piece + _read_all(server))
        while piece or (piece := server.recv(PIECE)):
            left = len(piece) if self._link.longest is None else self._link.longest - passage.sent
            passage.sent += len(piece[:left])
            self._gateway.sendall(piece[:left])
            if left < len(piece):
                end_connection(self._gateway, Ending.CLOSED)
                return
            piece = b""


def _read_head(connection: socket.socket) -> tuple[bytes, bytes]:
    """A message up to its empty line, and what came with it of its body."""
    read = b""
    while b"\r\n\r\n" not in read:
        piece = connection.recv(PIECE)
        if not piece or len(read) > LONGEST_HEAD:
            raise _GoneError
        read += piece
    head, separator, rest = read.partition(b"\r\n\r\n")
    return head + separator, rest


def _read_exactly(connection: socket.socket, count: int) -> bytes:
    read = b""
    while len(read) < count:
        piece = connection.recv(min(PIECE, count - len(read)))
        if not piece:
            raise _GoneError
        read += piece
    return read


def _read_all(connection: socket.socket) -> bytes:
    return b"".join(iter(lambda: connection.recv(PIECE), b""))


def _headers_of(head: bytes) -> dict[str, str]:
    parsed: Any = BytesHeaderParser().parsebytes(head.partition(b"\r\n")[2])
    return {name.lower(): value for name, value in parsed.items()}
