# SPDX-License-Identifier: Apache-2.0
"""hawkBit's management interface (REST, JSON), as far as an operator's steps need it."""
from __future__ import annotations

import base64
import http.client
import json
import secrets
import urllib.error
import urllib.request
from collections.abc import Iterator
from typing import Any
from urllib.parse import quote, urlencode

from driver import ServerRefusal

# The server's defaults.
USER, PASSWORD = "admin", "admin"
# Seconds; generous, because scenarios share the server.
TIMEOUT = 120
PAGE = 200


class Refusal(ServerRefusal):
    """The server answered with an error status; `status` is its code."""

    def __init__(self, request: str, status: int, answer: str) -> None:
        super().__init__(f"{request}: {status} {answer}")
        self.status = status


class Unreachable(RuntimeError):
    """There was no answer at all."""


def segment(text: str) -> str:
    """Quotes a text as one segment of a path."""
    return quote(text, safe="")


class Management:
    """Paths are relative to /rest/v1/. Every call raises Refusal or Unreachable when it fails."""

    def __init__(self, port: int) -> None:
        self._base = f"http://127.0.0.1:{port}/rest/v1/"
        credentials = base64.b64encode(f"{USER}:{PASSWORD}".encode()).decode()
        self._headers = {"Authorization": f"Basic {credentials}", "Accept": "application/json"}
        # Never a proxy from the environment: the server is on this machine.
        self._opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))

    def get(self, path: str, **query: Any) -> Any:
        return self._json("GET", path, query)

    def pages(self, path: str, **query: Any) -> Iterator[dict]:
        """All elements of a list, read page by page."""
        offset = 0
        while True:
            page = self.get(path, limit=PAGE, offset=offset, **query)
            yield from page["content"]
            offset += len(page["content"])
            if not page["content"] or offset >= page["total"]:
                return

    def post(self, path: str, body: Any = None) -> Any:
        return self._json("POST", path, {}, body)

    def create(self, path: str, body: dict) -> dict:
        """Creates one element and returns it as the server does."""
        return self.post(path, [body])[0]

    def put(self, path: str, body: Any) -> Any:
        return self._json("PUT", path, {}, body)

    def delete(self, path: str, **query: Any) -> None:
        self._json("DELETE", path, query)

    def upload(self, path: str, filename: str, content: bytes) -> Any:
        """Uploads a file; any name works, since it is sent in the address and not in the body."""
        boundary = secrets.token_hex(16)
        body = (f'--{boundary}\r\nContent-Disposition: form-data; name="file"; filename="file"\r\n'
                "Content-Type: application/octet-stream\r\n\r\n").encode() + content
        body += f"\r\n--{boundary}--\r\n".encode()
        return self._send("POST", path, {"filename": filename}, body,
                          f"multipart/form-data; boundary={boundary}")

    def _json(self, method: str, path: str, query: dict, body: Any = None) -> Any:
        data = None if body is None else json.dumps(body).encode()
        return self._send(method, path, query, data, "application/json")

    def _send(self, method: str, path: str, query: dict, data: bytes | None, content_type: str) -> Any:
        address = self._base + path + ("?" + urlencode(query) if query else "")
        headers = dict(self._headers)
        if data is not None:
            headers["Content-Type"] = content_type
        request = urllib.request.Request(address, data, headers, method=method)
        try:
            with self._opener.open(request, timeout=TIMEOUT) as answer:
                text = answer.read()
        except urllib.error.HTTPError as error:
            with error:
                answer = error.read().decode(errors="replace")
                raise Refusal(f"{method} {path}", error.code, answer) from error
        # The second is raised when an answer breaks off.
        except (OSError, http.client.HTTPException) as error:
            raise Unreachable(f"{method} {address}: {error}") from error
        return json.loads(text) if text else None
