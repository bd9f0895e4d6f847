# SPDX-License-Identifier: Apache-2.0
"""A client that sends whatever a test wants, sensible or not."""

from __future__ import annotations

import http.client
import json
import ssl
from typing import Any

from hawkbit_server import Action, UpdateServer

BASE = "/DEFAULT/controller/v1/"
# The content of a.sh, the file of the action that the fixture of that name assigns.
SCRIPT = b"#!/bin/sh\necho hello\n"


def artifact_path(action: Action, suffix: str = "") -> str:
    """The path of that file below the controller base."""
    return f"softwaremodules/{action.distribution_set.modules[0].id}/artifacts/a.sh{suffix}"


class Answer:
    def __init__(self, response: http.client.HTTPResponse) -> None:
        self.status = response.status
        self.headers = {name.lower(): value for name, value in response.getheaders()}
        self.body = response.read()

    def json(self) -> Any:
        return json.loads(self.body)


class Device:
    """A persistent connection, with requests relative to the controller base of one target."""

    def __init__(self, server: UpdateServer, target: str, context: ssl.SSLContext | None = None) -> None:
        self.base = BASE + target
        if context is None:
            self.connection = http.client.HTTPConnection(server.address, timeout=20)
        else:
            self.connection = http.client.HTTPSConnection(server.address, timeout=20, context=context)

    def send(self, method: str, path: str, body: Any = None, **headers: str) -> Answer:
        """`path` is absolute or below the controller base; a body other than bytes is sent as JSON."""
        fields = {name.replace("_", "-"): value for name, value in headers.items()}
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
        if body is not None:
            fields.setdefault("Content-Type", "application/json")
        whole = path if path.startswith("/") else f"{self.base}/{path}" if path else self.base
        self.connection.request(method, whole, body, fields)
        return Answer(self.connection.getresponse())

    def get(self, path: str = "", **headers: str) -> Answer:
        return self.send("GET", path, **headers)

    def report(self, action: int, execution: str, finished: str, *details: Any, cancel: bool = False,
               **more: Any) -> Answer:
        resource = "cancelAction" if cancel else "deploymentBase"
        status = {"execution": execution, "result": {"finished": finished}, "details": list(details), **more}
        return self.send("POST", f"{resource}/{action}/feedback", {"status": status})

    def history(self, action: int, count: int = 10) -> Any:
        return self.get(f"deploymentBase/{action}?actionHistory={count}").json().get("actionHistory")
