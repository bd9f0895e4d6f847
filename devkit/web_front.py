# SPDX-License-Identifier: Apache-2.0
"""The web server of the simulated gateway: JSON-RPC before its bus, as a web interface's page sees it.

A user has groups to read and to write, which are those of the package's access files, and reaches nothing else.
"""
from __future__ import annotations

import contextlib
import http.server
import json
import secrets
import threading
import time
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any

from gateway import BusError, GatewayError
from web_configuration import PERMISSION_DENIED, WebConfiguration
from web_events import WebEvents

if TYPE_CHECKING:
    from gateway import Gateway

DENIED, NO_METHOD = (-32002, "Access denied"), (-32601, "Method not found")
NO_CONNECTION = 255
READING = ("get_status", "get_deployment", "get_agents")
# What each page of a web interface asks for itself; its own access files grant it to everybody who has logged in.
OF_THE_INTERFACE: dict[tuple[str, str], Any] = {("luci", "getFeatures"): {}, ("file", "list"): {"entries": []}}
CONFIGURATION = ("get", "set", "delete", "changes")
SUBSCRIBE, BEARER = "/ubus/subscribe/", "Bearer "
TYPES = {".js": "text/javascript", ".css": "text/css", ".html": "text/html", ".json": "application/json"}


@dataclass(frozen=True)
class User:
    """Who may log in, and the access groups that are theirs."""

    password: str
    read: tuple[str, ...] = ()
    write: tuple[str, ...] = ()


class WebFront:
    """Serves files and calls.

    files  which directory stands for the beginning of a path; the first that has the file counts
    pages  the text that is served under a path
    is_on  without it every connection ends unanswered, as while a gateway restarts
    calls  what was asked for, apart from looking; of the daemon, answers holds when it was, and the reply
    events subscriptions, for whoever has a group that grants the method ":subscribe" of an object
    """

    def __init__(self, gateway: Gateway, access: Path, users: Mapping[str, User], files: Sequence[tuple[str, Path]],
                 pages: Mapping[str, str]) -> None:
        self._bus = gateway.bus
        self._configuration = WebConfiguration(gateway)
        self.events = WebEvents(gateway)
        self._groups = {name: group for path in sorted(access.glob("*.json"))
                        for name, group in json.loads(path.read_text(encoding="utf-8")).items()}
        self._users = users
        self._files = files
        self.pages = dict(pages)
        self.is_on = True
        self._sessions: dict[str, User] = {}
        self._one_call = threading.Lock()
        self.calls: list[tuple[str, Any]] = []
        self.answers: list[tuple[str, float, list[Any]]] = []
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        self._server.daemon_threads = True
        self.address = f"http://127.0.0.1:{self._server.server_port}"
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def close(self) -> None:
        """Ends the server."""
        self._server.shutdown()
        self._server.server_close()

    def log_in(self, name: str, password: str) -> str | None:
        """The new session of a user, or None for a wrong name or password."""
        user = self._users.get(name)
        if user is None or not secrets.compare_digest(user.password, password):
            return None
        session = secrets.token_hex(16)
        self._sessions[session] = user
        return session

    def forget_sessions(self) -> None:
        """Does what a restart of the gateway does to them."""
        self._sessions.clear()

    def may_call(self, session: str, target: str, method: str) -> bool:
        """Whether the groups of the session's user grant a method."""
        user = self._sessions.get(session)
        if user is None:
            return False
        return any(method in granted.get("ubus", {}).get(target, ())
                   for kind in ("read", "write") for granted in self._granted(user, kind))

    def _granted(self, user: User, kind: str) -> list[Any]:
        names = user.read if kind == "read" else user.write
        return [self._groups[name].get(kind, {}) for name in names]

    def _packages(self, user: User) -> dict[str, set[str]]:
        return {kind: {package for granted in self._granted(user, kind) for package in granted.get("uci", ())}
                for kind in ("read", "write")}

    def _has_access(self, session: str, asked: Any) -> bool:
        if asked.get("scope") == "ubus":
            return self.may_call(session, asked["object"], asked["function"])
        if asked.get("scope") != "uci":
            return False
        # What a web interface asks to find out whether its session still is one; its own files grant it.
        return (asked["object"], asked["function"]) == ("luci", "read") or asked["object"] in self._packages(
            self._sessions[session]).get(asked["function"], ())

    def file(self, path: str) -> tuple[bytes, str] | None:
        """Content and type of what is served under a path."""
        if path in self.pages:
            return self.pages[path].encode(), "text/html"
        for prefix, directory in self._files:
            found = (directory / path.removeprefix(prefix)).resolve()
            if path.startswith(prefix) and found.is_relative_to(directory.resolve()) and found.is_file():
                return found.read_bytes(), TYPES.get(found.suffix, "application/octet-stream")
        return None

    def answer(self, request: Any) -> Any:
        """The reply to one call, or to a batch of them."""
        if isinstance(request, list):
            return [self.answer(each) for each in request]
        reply = {"jsonrpc": "2.0", "id": request.get("id")}
        outcome = self._invoke(request)
        if isinstance(outcome, tuple):
            return {**reply, "error": {"code": outcome[0], "message": outcome[1]}}
        return {**reply, "result": outcome}

    def _invoke(self, request: Any) -> list[Any] | tuple[int, str]:
        if request.get("method") != "call" or len(request.get("params", ())) != 4:
            return NO_METHOD
        session, target, method, arguments = request["params"]
        if (target, method) == ("session", "login"):
            opened = self.log_in(arguments["username"], arguments["password"])
            return [0, {"ubus_rpc_session": opened}] if opened else [PERMISSION_DENIED]
        if session in self._sessions and (of_the_interface := self._invoke_interface(*request["params"])):
            return of_the_interface
        if not self.may_call(session, target, method):
            return DENIED
        if method in READING:
            return self._call(method, arguments, target)
        self.calls.append((method, arguments))
        began = time.time()
        reply = self._call(method, arguments, target)
        self.answers.append((method, began, reply))
        return reply

    def _call(self, method: str, arguments: Any, target: str) -> list[Any]:
        with self._one_call:
            try:
                return [0, self._bus.call(method, arguments, target)]
            except BusError as failure:
                return [failure.status]
            except (GatewayError, ValueError):
                # The gateway is restarting; what it said last may be cut off.
                return [NO_CONNECTION]

    def _invoke_interface(self, session: str, target: str, method: str, arguments: Any) -> list[Any] | None:
        if (target, method) == ("session", "access"):
            return [0, {"access": self._has_access(session, arguments)}]
        if (target, method) in OF_THE_INTERFACE:
            return [0, OF_THE_INTERFACE[target, method]]
        if target == "uci" and method in CONFIGURATION:
            if method in ("set", "delete"):
                self.calls.append((method, arguments))
            return self._configuration.answer(session, method, arguments, self._packages(self._sessions[session]))
        return None

    def _handler(self) -> type[http.server.BaseHTTPRequestHandler]:
        front = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self) -> None:
                if self.path.startswith(SUBSCRIBE):
                    self._subscribe(self.path.removeprefix(SUBSCRIBE))
                    return
                found = front.file(self.path.partition("?")[0])
                self._send(404, b"", "text/plain") if found is None else self._send(200, *found)

            def handle_one_request(self) -> None:
                if front.is_on:
                    # A browser leaves a page in the middle of an answer.
                    with contextlib.suppress(ConnectionError):
                        super().handle_one_request()

            def do_POST(self) -> None:
                body = self.rfile.read(int(self.headers["Content-Length"]))
                self._send(200, json.dumps(front.answer(json.loads(body))).encode(), "application/json")

            def _subscribe(self, target: str) -> None:
                session = self.headers.get("Authorization", "").removeprefix(BEARER)
                if not front.may_call(session, target, ":subscribe"):
                    self._send(403, b"", "text/plain")
                    return
                self.send_response(200)
                self.send_header("Content-Type", "text/event-stream")
                self.end_headers()
                front.events.pass_on(target, self.connection, lambda: front.is_on and session in front._sessions)

            def _send(self, status: int, content: bytes, kind: str) -> None:
                self.send_response(status)
                self.send_header("Content-Type", f"{kind}; charset=utf-8")
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            def log_message(self, *_: object) -> None:
                pass

        return Handler
