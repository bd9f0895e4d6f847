# SPDX-License-Identifier: Apache-2.0
"""Behaviour of the server that a site may configure or that differs between databases."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Any

from . import history

LINK_NAMES = ("download", "md5sum", "download-http", "md5sum-http")
DEFAULT_LINK_NAMES = ("download-http", "md5sum-http")
CHUNK_ORDERS = ("kept", "reversed")
_SLEEP = re.compile(r"([01]\d|2[0-3]):[0-5]\d:[0-5]\d")


def parse_sleep(text: str) -> int:
    """Seconds of an "HH:MM:SS"; hawkBit 0.9.0 sends only 00:00:00 to 23:59:59."""
    if not _SLEEP.fullmatch(text):
        raise ValueError(f"polling time {text!r} is not HH:MM:SS")
    hours, minutes, seconds = map(int, text.split(":"))
    return hours * 3600 + minutes * 60 + seconds


def format_sleep(seconds: int) -> str:
    """The reverse of parse_sleep()."""
    return f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}"


@dataclass
class Settings:
    """May be changed while the server runs; the next request uses the new values.

    poll                 the polling time of the controller base
    min_poll             the shortest polling time as a maintenance window approaches
    history_order        "kept", "swapped" (the default database) or "shuffled", see `history.read`
    assignment_message   whether a new action carries "Assignment initiated by user 'admin'" (since 0.3.0M8)
    link_names           names of the artifact links; a name beginning with "md5sum" leads to the MD5SUM
    artifact_scheme      scheme of the artifact links; None is that of the request
    base_scheme          scheme of the links of the controller base; None is that of the request
    chunk_order          "kept" or "reversed", as the real server guarantees no order of the chunks
    auto_close           whether a new assignment closes the older action at once instead of cancelling it
    rollout_interval     seconds between two runs of the scheduler of rollouts
    authorization        required value of the Authorization header; None admits everybody
    target_tokens        whether a target may show its own token instead of a certificate or that header
    quoted_tags          whether the ETag of an artifact has its quotes, as from 0.10.0 on
    forwarded_headers    whether links follow X-Forwarded-Proto and -Host, as they must behind a proxy
    """

    poll: str = "00:05:00"
    min_poll: str = "00:00:01"
    history_order: str = "swapped"
    assignment_message: bool = True
    link_names: tuple[str, ...] = DEFAULT_LINK_NAMES
    artifact_scheme: str | None = None
    base_scheme: str | None = None
    chunk_order: str = "kept"
    auto_close: bool = False
    rollout_interval: float = 2.0
    authorization: str | None = None
    target_tokens: bool = False
    quoted_tags: bool = False
    forwarded_headers: bool = False

    def __setattr__(self, name: str, value: Any) -> None:
        if name in ("poll", "min_poll"):
            parse_sleep(value)
        elif name == "history_order" and value not in history.ORDERS:
            raise ValueError(f"history_order must be one of {history.ORDERS}, not {value!r}")
        elif name == "chunk_order" and value not in CHUNK_ORDERS:
            raise ValueError(f"chunk_order must be one of {CHUNK_ORDERS}, not {value!r}")
        elif not hasattr(type(self), name):
            raise AttributeError(f"the server has no setting {name!r}")
        super().__setattr__(name, value)
