# SPDX-License-Identifier: Apache-2.0
"""Which part of a file a request wants, decided as hawkBit 0.9.0 decides it."""

from __future__ import annotations

import re
from collections.abc import Mapping
from email.utils import parsedate_to_datetime

from . import errors

_RANGES = re.compile(r"bytes=\d*-\d*(,\d*-\d*)*")


def select(headers: Mapping[str, str], tag: str, modified: float, size: int) -> tuple[int, int]:
    """First and last byte to send; the whole file without a range, or where `If-Range` names another file.

    `tag` is the ETag as it is sent, `modified` the time of the upload in seconds. Throws the 416 refusal,
    and one with 500 for a suffix longer than the file, which the real server does not survive.
    """
    wanted = headers.get("range")
    if wanted is None:
        return 0, size - 1
    if not _RANGES.fullmatch(wanted):
        raise _unsatisfiable(size)
    if _is_another_file(headers.get("if-range"), tag, modified):
        return 0, size - 1
    spans = [_span(part, size) for part in wanted.removeprefix("bytes=").split(",")]
    if len(spans) > 1:
        raise errors.framework(501)
    first, last = spans[0]
    if first < 0:
        raise errors.Refusal(500, headers={"Content-Range": f"bytes {first}-{last}/{size}"})
    return first, last


def _is_another_file(condition: str | None, tag: str, modified: float) -> bool:
    """Whether the condition holds neither as the very ETag nor as a date that is not older than the upload."""
    if condition is None or condition == tag:
        return False
    try:
        return parsedate_to_datetime(condition).timestamp() + 1 < modified
    except ValueError:
        return True


def _span(part: str, size: int) -> tuple[int, int]:
    start, _, end = part.partition("-")
    if not start:
        first, last = (size - int(end), size - 1) if end else (size, size - 1)
    else:
        first, last = int(start), min(int(end), size - 1) if end else size - 1
    if first > last:
        raise _unsatisfiable(size)
    return first, last


def _unsatisfiable(size: int) -> errors.Refusal:
    return errors.Refusal(416, headers={"Content-Range": f"bytes */{size}"})
