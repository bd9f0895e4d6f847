"""Makes the development kit importable and offers what the tests of the update server share."""

from __future__ import annotations

import http.client
import json
import ssl
import sys
from pathlib import Path
from typing import Any, Iterator

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "devkit"))

from hawkbit_server import UpdateServer  # noqa: E402
from pki import Pki  # noqa: E402

BASE = "/DEFAULT/controller/v1/"


class Answer:
    def __init__(self, response: http.client.HTTPResponse) -> None:
        self.status = response.status
        self.headers = {name.lower(): value for name, value in response.getheaders()}
        self.body = response.read()

    def json(self) -> Any:
        return json.loads(self.body)


class Device:
    """A throw-away client: one kept connection, requests relative to the controller base of one target."""

    def __init__(self, server: UpdateServer, target: str, context: ssl.SSLContext | None = None) -> None:
        self.base = BASE + target
        if context is None:
            self.connection = http.client.HTTPConnection(server.address, timeout=20)
        else:
            self.connection = http.client.HTTPSConnection(server.address, timeout=20, context=context)

    def send(self, method: str, path: str, body: Any = None, **headers: str) -> Answer:
        """`path` is absolute or below the controller base; a body that is not bytes goes out as JSON."""
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


@pytest.fixture
def server() -> Iterator[UpdateServer]:
    with UpdateServer() as running:
        yield running


@pytest.fixture
def device(server: UpdateServer) -> Iterator[Device]:
    client = Device(server, "gw-1")
    yield client
    client.connection.close()


@pytest.fixture(scope="session")
def pki(tmp_path_factory: pytest.TempPathFactory) -> Pki:
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")
