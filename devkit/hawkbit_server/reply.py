# SPDX-License-Identifier: Apache-2.0
"""An answer that is about to be sent."""

from __future__ import annotations

import hashlib
import json
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any

from .errors import JSON_TYPE, Refusal

Progress = Callable[[int, int], None]
HARMLESS_ENDINGS = ("txt", "text", "yml", "properties", "csv", "json", "xml", "atom", "rss")


@dataclass
class Reply:
    """`progress` is called with the bytes sent so far and in total while the body is sent."""

    status: int
    body: bytes = b""
    content_type: str | None = None
    headers: dict[str, str] = field(default_factory=dict)
    progress: Progress | None = None


def document(value: Any, media: str, if_none_match: str | None) -> Reply:
    """A JSON document with its ETag; 304 without a body when the device already has it.

    Where a text was cut inside a character, the half is sent as its escape.
    """
    body = json.dumps(value, ensure_ascii=False, separators=(",", ":")).encode("utf-8", "backslashreplace")
    tag = f'"0{hashlib.md5(body).hexdigest()}"'
    if if_none_match is not None and tag in [each.strip() for each in if_none_match.split(",")]:
        return Reply(304, headers={"ETag": tag})
    return Reply(200, body, f"{media};charset=UTF-8", {"ETag": tag})


def refused(refusal: Refusal, path: str) -> Reply:
    """The answer to a refused path.

    Where the path ends like a file of an unknown type, the framework gives the JSON a harmless file name, so that no
    browser runs it.
    """
    headers = dict(refusal.headers)
    _, dot, ending = path.rpartition("/")[2].rpartition(".")
    if dot and ending not in HARMLESS_ENDINGS and refusal.content_type == JSON_TYPE:
        headers["Content-Disposition"] = "inline;filename=f.txt"
    return Reply(refusal.status, refusal.body, refusal.content_type, headers)
