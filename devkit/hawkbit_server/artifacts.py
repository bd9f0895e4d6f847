# SPDX-License-Identifier: Apache-2.0
"""Downloads: artifacts with ranges, and their MD5SUM."""

from __future__ import annotations

import re
from email.utils import formatdate

from . import errors, feedback, ranges
from .history import OWN_PREFIX
from .model import Action, Artifact, Status, Target
from .reply import Reply
from .request import Request, number
from .store import Store

_TYPE = "application/octet-stream"


def _find_artifact(store: Store, request: Request) -> Artifact:
    """Throws a 404 refusal: with a body for an unknown module, without one for an unknown file."""
    module_id = number(request.route.module)
    module = store.modules.get(module_id)
    if module is None:
        raise errors.unknown_entity("SoftwareModule", module_id)
    artifact = module.artifact(request.route.file or "")
    if artifact is None:
        raise errors.without_body(404)
    return artifact


def _find_action(store: Store, target: Target, request: Request) -> Action:
    """Throws a 404 refusal if the module is in no active action of the target; a cancelling one does not count."""
    module_id = number(request.route.module)
    actions = [each for each in store.actions.values() if each.target is target and each.active
               and not each.is_cancelling() and each.has_module(module_id)]
    if not actions:
        raise errors.not_assigned(module_id, target.id)
    return min(actions, key=lambda each: each.id)


def _log_download(store: Store, action: Action, request: Request) -> None:
    feedback.check_entries(action)
    store.add_entry(action, Status.DOWNLOAD, f"{OWN_PREFIX}Target downloads {request.path}")


def md5sum(store: Store, target: Target, request: Request) -> Reply:
    """`<md5><two blanks><file name>` without a line end."""
    artifact = _find_artifact(store, request)
    _log_download(store, _find_action(store, target, request), request)
    body = f"{artifact.digest('md5')}  {artifact.filename}".encode()
    return Reply(200, body, "text/plain;charset=UTF-8", _disposition(artifact.filename + ".MD5SUM"))


def _disposition(filename: str) -> dict[str, str]:
    safe = re.sub(r"[^\x20-\x7e]", "?", filename)
    return {"Content-Disposition": f"attachment;filename={safe}"}


def download(store: Store, target: Target, request: Request) -> Reply:
    """The file with its SHA-1 as ETag. Even a 200 has a Content-Range.

    412 for an If-Match that is not the SHA-1 (the ETag in its quotes is not), 416 for an invalid range. A request with
    a Range header is recorded nowhere, and is served whatever the state of the action.
    """
    artifact = _find_artifact(store, request)
    sha1 = artifact.digest("sha1")
    matches = request.headers.get("if-match")
    if matches is not None and not {sha1, "*"} & {each.strip() for each in matches.split(",")}:
        raise errors.without_body(412)
    action = None
    if "range" not in request.headers:
        action = _find_action(store, target, request)
        _log_download(store, action, request)
    size = len(artifact.content)
    tag = f'"{sha1}"' if store.settings.quoted_tags else sha1
    headers = {**_disposition(artifact.filename), "ETag": tag, "Accept-Ranges": "bytes",
               "Last-Modified": formatdate(artifact.uploaded_at, usegmt=True)}
    try:
        first, last = ranges.select(request.headers, tag, artifact.uploaded_at, size)
    except errors.Refusal as refusal:
        raise errors.Refusal(refusal.status, refusal.body, _TYPE, {**headers, **refusal.headers}) from None

    def progress(sent: int, total: int) -> None:
        store.emit("downloading", target.id, action.id if action is not None else None,
                   module=number(request.route.module), filename=artifact.filename, sent=sent, total=total)

    headers["Content-Range"] = f"bytes {first}-{last}/{size}"
    return Reply(200 if last - first + 1 == size else 206, artifact.content[first:last + 1], _TYPE, headers, progress)
