# SPDX-License-Identifier: Apache-2.0
"""A relay between the proxy and the update server that observes every exchange and changes none.

Bytes pass unchanged, headers included; a copy of them is parsed. The proxy must use one connection for each
request, as nginx does by default, since the end of an answer is the end of its connection.
"""
from __future__ import annotations

import contextlib
import http.client
import io
import socket
import socketserver
import threading
import time
from collections.abc import Callable
from dataclasses import dataclass
from email.parser import BytesHeaderParser

HOST = "127.0.0.1"
PIECE = 65536
LONGEST_HEAD = 65536
TIMEOUT = 120


@dataclass(frozen=True)
class Passed:
    """One request with its answer. Header names are in lower case; bodies are without their framing.

    began  when the request was passed on, in seconds since the epoch
    """

    began: float
    method: str
    path: str
    headers: dict[str, str]
    body: bytes
    status: int
    response_headers: dict[str, str]
    response_body: bytes


class Relay:
    """Listens on a free port of the loopback interface for a server on `upstream`.

    `observe` gets each exchange that the server has answered, before the answer is passed on to the proxy.
    `lock` is held during that call and while the server works on a request: its holder knows that no request
    is in progress.
    """

    def __init__(self, upstream: int, observe: Callable[[Passed], None], lock: threading.RLock) -> None:
        self.upstream = upstream
        self.observe = observe
        self.lock = lock
        self.errors: list[BaseException] = []
        self._listener = _Listener((HOST, 0), _Connection)
        self._listener.relay = self
        self._thread = threading.Thread(target=self._listener.serve_forever, kwargs={"poll_interval": 0.05},
                                        name="relay", daemon=True)
        self._thread.start()

    @property
    def port(self) -> int:
        return self._listener.server_address[1]

    def close(self) -> None:
        """Stops it. Raises what has gone wrong in it."""
        self._listener.shutdown()
        self._thread.join()
        self._listener.server_close()
        if self.errors:
            raise RuntimeError(f"the relay had {len(self.errors)} error(s)") from self.errors[0]


class _Listener(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True
    block_on_close = False
    request_queue_size = 64
    relay: Relay

    def handle_error(self, request, client_address):
        """Errors are kept in the relay instead of being printed."""


class _Connection(socketserver.StreamRequestHandler):
    """One request and its answer."""

    def handle(self):
        relay = self.server.relay
        try:
            request = self._read_request()
            if request is None:
                return
            head, body = request
            with relay.lock:
                began = time.time()
                answer = self._ask(head + body)
                if not answer:
                    return
                relay.observe(_taken_apart(began, head, body, answer))
        except OSError:
            return  # One of the two has gone; the other one notices its closed connection.
        except Exception as error:
            relay.errors.append(error)
            raise
        with contextlib.suppress(OSError):
            self.wfile.write(answer)

    def _read_request(self) -> tuple[bytes, bytes] | None:
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            line = self.rfile.readline(LONGEST_HEAD)
            if not line:
                return None
            head += line
        length = int(_headers(head).get("content-length", "0"))
        body = self.rfile.read(length)
        return (head, body) if len(body) == length else None

    def _ask(self, request: bytes) -> bytes:
        """The whole answer; empty when the server closed the connection without one."""
        answer = b""
        with socket.create_connection((HOST, self.server.relay.upstream), TIMEOUT) as upstream:
            upstream.sendall(request)
            while piece := upstream.recv(PIECE):
                answer += piece
        return answer


def _headers(head: bytes) -> dict[str, str]:
    parsed = BytesHeaderParser().parsebytes(head.partition(b"\r\n")[2])
    return {name.lower(): value for name, value in parsed.items()}


class _Copy:
    """Looks like the socket of an answer to the standard library's client."""

    def __init__(self, answer: bytes) -> None:
        self._answer = answer

    def makefile(self, *_: object) -> io.BytesIO:
        return io.BytesIO(self._answer)


def _taken_apart(began: float, head: bytes, body: bytes, answer: bytes) -> Passed:
    method, path, _ = head.partition(b"\r\n")[0].decode("latin-1").split(" ")
    response = http.client.HTTPResponse(_Copy(answer), method=method)
    response.begin()
    content = response.read()
    headers = {name.lower(): value for name, value in response.getheaders()}
    return Passed(began, method, path, _headers(head), body, response.status, headers, content)
