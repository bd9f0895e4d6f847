# SPDX-License-Identifier: Apache-2.0
"""One connection of a device: reads requests, passes them to the resources, injects the ordered faults."""

from __future__ import annotations

from http.client import responses
from http.server import BaseHTTPRequestHandler
from typing import TYPE_CHECKING, Any

from . import faults
from . import request as requests
from .delivery import PIECE, Delivery, end_connection
from .exchanges import Exchange
from .reply import Reply
from .tls import is_resumed, subject_of

if TYPE_CHECKING:
    from .http_layer import HttpLayer

# Raised when a client goes away during an answer; TLS errors are OSErrors, too.
CLIENT_GONE = OSError


def head_of(answer: Reply) -> bytes:
    """Status line and headers. Without a content type of its own an answer may still have a length."""
    lines = [f"HTTP/1.1 {answer.status} {responses.get(answer.status, '')}"]
    if answer.content_type is not None:
        lines.append(f"Content-Type: {answer.content_type}")
    lines += [f"{name}: {value}" for name, value in answer.headers.items()]
    if answer.status != 304 and "Content-Length" not in answer.headers:
        lines.append(f"Content-Length: {len(answer.body)}")
    return "\r\n".join([*lines, "", ""]).encode("latin-1")


class BadBody(Exception):
    """The framing of the body is broken, or the client went away before its end."""


class Connection(BaseHTTPRequestHandler):
    """HTTP/1.1 with keep-alive; `Expect: 100-continue` is answered at once by the base class."""

    protocol_version = "HTTP/1.1"
    server_version = "hawkbit-server"
    sys_version = ""
    disable_nagle_algorithm = True
    timeout = None
    server: HttpLayer

    def handle_one_request(self) -> None:
        try:
            super().handle_one_request()
        except CLIENT_GONE:
            self.close_connection = True

    def log_message(self, format: str, *args: Any) -> None:
        """Prints nothing, unlike the base class: the journal and the observers tell what happens."""

    def handle_expect_100(self) -> bool:
        self.wfile.write(b"HTTP/1.1 100 Continue\r\n\r\n")
        return True

    def do_request(self) -> None:
        exchange, route = self._arrive()
        fault = self.server.faults.take(route.kind, route.target)
        try:
            self._serve(exchange, route, fault)
        except BadBody:
            self._drop(exchange, "client gone")
        except CLIENT_GONE:
            self.close_connection = True
            self.server.journal.finish(exchange, "client gone")

    do_GET = do_HEAD = do_POST = do_PUT = do_DELETE = do_PATCH = do_OPTIONS = do_request

    def _arrive(self) -> tuple[Exchange, requests.Route]:
        # The base class merges leading slashes in self.path; the firewall's rules need what was sent.
        path, _, query = self.requestline.split()[1].partition("?")
        route = requests.find_route(path)
        headers = {name.lower(): value for name, value in self.headers.items()}
        action = int(route.action) if route.action is not None and route.action.isdecimal() else None
        return self.server.journal.open(
            kind=route.kind, target=route.target, action=action, method=self.command, path=path, query=query,
            headers=headers, client_subject=subject_of(self.connection), resumed=is_resumed(self.connection)), route

    def _serve(self, exchange: Exchange, route: requests.Route, fault: faults.Fault | None) -> None:
        if isinstance(fault, faults.Drop) and not fault.processed:
            self._drop(exchange, "dropped", fault.ending)
            return
        exchange.body = self._read_body(exchange.headers)
        if isinstance(fault, faults.Stall) and fault.after is None:
            fault.hold()
            if fault.dropped:
                self._drop(exchange, "dropped")
                return
        if isinstance(fault, faults.Code):
            body, content_type = fault.content()
            answer = Reply(fault.status, body, content_type or None, dict(fault.headers))
        else:
            answer = self._answer(exchange, route)
        if isinstance(fault, faults.Text):
            answer = Reply(fault.status, fault.content(), fault.content_type)
        elif isinstance(fault, faults.Mutate):
            answer.body = fault.apply(answer.body)
            answer.headers.pop("ETag", None)
        elif isinstance(fault, faults.Headers):
            answer.headers = fault.apply(answer.headers)
        elif isinstance(fault, faults.Drop):
            self._drop(exchange, "dropped", fault.ending)
            return
        self._send(exchange, answer, fault)

    def _answer(self, exchange: Exchange, route: requests.Route) -> Reply:
        scheme = "https" if self.server.is_tls else "http"
        return self.server.ddi.handle(requests.Request(
            exchange.method, exchange.path, exchange.query, exchange.headers, scheme, exchange.body, route,
            exchange.client_subject))

    def _read_body(self, headers: dict[str, str]) -> bytes:
        if headers.get("transfer-encoding", "").lower() == "chunked":
            return self._read_chunks()
        length = headers.get("content-length", "0")
        if not length.isdecimal():
            raise BadBody
        return self._read_exactly(int(length))

    def _read_exactly(self, count: int) -> bytes:
        body = self.rfile.read(count)
        if len(body) != count:
            raise BadBody
        return body

    def _read_chunks(self) -> bytes:
        body = b""
        while True:
            size = self.rfile.readline(64).split(b";")[0].strip()
            try:
                count = int(size, 16)
            except ValueError as error:
                raise BadBody from error
            if count == 0:
                while self.rfile.readline(PIECE).strip():
                    pass
                return body
            body += self._read_exactly(count)
            self._read_exactly(2)

    def _send(self, exchange: Exchange, answer: Reply, fault: faults.Fault | None) -> None:
        exchange.response_headers = {name.lower(): value for name, value in answer.headers.items()}
        if answer.content_type is not None:
            exchange.response_headers["content-type"] = answer.content_type
        exchange.response_body = answer.body
        exchange.status = answer.status
        if answer.headers.get("Connection", "").lower() == "close":
            self.close_connection = True
        body = b"" if self.command == "HEAD" else answer.body
        if Delivery(self.wfile.write, exchange, answer, self.server.stopping).send(head_of(answer), body, fault):
            self.server.journal.finish(exchange, "answered")
        else:
            self._drop(exchange, "cut", fault.ending if isinstance(fault, faults.Cut) else faults.Ending.CLOSED)

    def _drop(self, exchange: Exchange, outcome: str, ending: faults.Ending = faults.Ending.CLOSED) -> None:
        self.close_connection = True
        self.server.journal.finish(exchange, outcome)
        end_connection(self.connection, ending)
