# SPDX-License-Identifier: Apache-2.0
"""Downloads: artifacts with ranges, and their MD5SUM."""

from __future__ import annotations

import re

from . import errors, feedback
from .history import OWN_PREFIX
from .model import Action, Artifact, Status, Target
from .reply import Reply
from .request import Request, number
from .store import Store

_RANGE = re.compile(r"bytes=(\d*)-(\d*)")


def _find(store: Store, target: Target, request: Request) -> tuple[Action, Artifact]:
    """Throws a 404 refusal: with a body for an unknown module and for one that is in no active action of the target
    (a cancelling one does not count), without a body for an unknown file."""
    module_id = number(request.route.module)
    module = store.modules.get(module_id)
    if module is None:
        raise errors.unknown_entity("SoftwareModule", module_id)
    artifact = module.artifact(request.route.file or "")
    if artifact is None:
        raise errors.without_body(404)
    actions = [each for each in store.actions.values() if each.target is target and each.active
               and not each.is_cancelling() and each.has_module(module_id)]
    if not actions:
        raise errors.not_assigned(module_id, target.id)
    return min(actions, key=lambda each: each.id), artifact


def _log_download(store: Store, action: Action, request: Request) -> None:
    feedback.check_entries(action)
    store.add_entry(action, Status.DOWNLOAD, f"{OWN_PREFIX}Target downloads {request.path}")


def md5sum(store: Store, target: Target, request: Request) -> Reply:
    """`<md5><two blanks><file name>` without a line end."""
    action, artifact = _find(store, target, request)
    _log_download(store, action, request)
    body = f"{artifact.digest('md5')}  {artifact.filename}".encode()
    return Reply(200, body, "text/plain;charset=UTF-8", _disposition(artifact.filename + ".MD5SUM"))


def _disposition(filename: str) -> dict[str, str]:
    safe = re.sub(r"[^\x20-\x7e]", "?", filename)
    return {"Content-Disposition": f"attachment;filename={safe}"}


def _span(header: str | None, size: int) -> tuple[int, int] | None:
    """First and last byte of a single range; None without one. Throws the 416 refusal."""
    if header is None:
        return None
    match = _RANGE.fullmatch(header.strip())
    if match is None or not (match[1] or match[2]):
        raise errors.Refusal(416, headers={"Content-Range": f"bytes */{size}"})
    if match[1]:
        first, last = int(match[1]), min(int(match[2] or size - 1), size - 1)
    else:
        first, last = max(0, size - int(match[2])), size - 1
    if first > last:
        raise errors.Refusal(416, headers={"Content-Range": f"bytes */{size}"})
    return first, last


def download(store: Store, target: Target, request: Request) -> Reply:
    """The file with its SHA-1 as ETag (without quotes). Even a 200 has a Content-Range.

    412 for an If-Match that is not the ETag, 416 for an invalid range. Only a full GET or HEAD is recorded among
    the action's status entries.
    """
    action, artifact = _find(store, target, request)
    size = len(artifact.content)
    tag = artifact.digest("sha1")
    matches = request.headers.get("if-match")
    if matches is not None and not {tag, "*"} & {each.strip().strip('"') for each in matches.split(",")}:
        raise errors.without_body(412)
    span = _span(request.headers.get("range"), size)
    if span is None:
        _log_download(store, action, request)
    first, last = span or (0, size - 1)

    def progress(sent: int, total: int) -> None:
        store.emit("downloading", target.id, action.id, module=number(request.route.module),
                   filename=artifact.filename, sent=sent, total=total)

    headers = {**_disposition(artifact.filename), "ETag": tag, "Accept-Ranges": "bytes",
               "Content-Range": f"bytes {first}-{last}/{size}"}
    return Reply(200 if span is None else 206, artifact.content[first:last + 1], "application/octet-stream",
                 headers, progress)
