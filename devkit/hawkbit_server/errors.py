# SPDX-License-Identifier: Apache-2.0
"""Refusals of the server, with the bodies observed from hawkBit 0.9.0.

There are three kinds of body: hawkBit's own JSON (`exceptionClass`, `errorCode`, `message`), the framework's JSON
(`timestamp`, `status`, `error`), and an HTML page. Several refusals have no body at all. A device must not rely
on any of them.
"""

from __future__ import annotations

import json
from datetime import UTC, datetime
from http import HTTPStatus

JSON_TYPE = "application/json;charset=UTF-8"
REPOSITORY = "org.eclipse.hawkbit.repository.exception."


class Refusal(Exception):
    """A request gets an error status instead of a document."""

    def __init__(self, status: int, body: bytes = b"", content_type: str | None = None,
                 headers: dict[str, str] | None = None) -> None:
        super().__init__(f"{status} {body.decode('utf-8', 'replace')}".rstrip())
        self.status = status
        self.body = body
        self.content_type = content_type
        self.headers = headers or {}


def hawkbit_body(exception_class: str, code: str, message: str,
                 info: dict[str, object] | None = None) -> bytes:
    document: dict[str, object] = {"exceptionClass": exception_class, "errorCode": code, "message": message}
    if info:
        document["info"] = info
    return json.dumps(document, ensure_ascii=False, separators=(",", ":")).encode("utf-8", "replace")


def framework_body(status: int) -> bytes:
    stamp = datetime.now(UTC).isoformat(timespec="milliseconds")
    document = {"timestamp": stamp, "status": status, "error": HTTPStatus(status).phrase}
    return json.dumps(document, separators=(",", ":")).encode()


def html_body(status: int) -> bytes:
    phrase = HTTPStatus(status).phrase
    return f"<html><body><h1>Error</h1><p>{phrase} (status={status})</p></body></html>".encode()


def without_body(status: int) -> Refusal:
    return Refusal(status)


def framework(status: int) -> Refusal:
    return Refusal(status, framework_body(status), JSON_TYPE)


def html_page(status: int) -> Refusal:
    return Refusal(status, html_body(status), "text/html;charset=UTF-8")


def hawkbit(status: int, exception_class: str, code: str, message: str,
            info: dict[str, object] | None = None) -> Refusal:
    return Refusal(status, hawkbit_body(exception_class, code, message, info), JSON_TYPE)


def not_readable() -> Refusal:
    """Malformed JSON, an unknown word, a wrong type, or an id in the path that is no number."""
    return hawkbit(400, "org.eclipse.hawkbit.rest.exception.MessageNotReadableException",
                   "hawkbit.server.error.rest.body.notReadable", "The given request body is not well formed")


def markup(method: str, index: int) -> Refusal:
    """A detail of a feedback contains an XML or HTML element."""
    return hawkbit(400, "jakarta.validation.ConstraintViolationException",
                   "hawkbit.server.error.repo.constraintViolation",
                   f"{method}.create.messages[{index}].<list element> Invalid characters in string.")


def bad_controller_id() -> Refusal:
    return hawkbit(400, "jakarta.validation.ConstraintViolationException",
                   "hawkbit.server.error.repo.constraintViolation", "The controller id is not acceptable")


def invalid_attributes() -> Refusal:
    return hawkbit(400, REPOSITORY + "InvalidTargetAttributeException",
                   "hawkbit.server.error.repo.invalidTargetAttributes", "The given target attributes are invalid")


def quota(requested: int, what: str, parent: str, identifier: str, maximum: int) -> Refusal:
    """Too many entities: 403 in 0.9.0 (429 from 0.10.0 on)."""
    return hawkbit(403, REPOSITORY + "AssignmentQuotaExceededException",
                   "hawkbit.server.error.quota.tooManyEntries",
                   f"Quota exceeded: Cannot assign {requested} more {what} entities to {parent} '{identifier}'. "
                   f"The maximum is {maximum}.")


def unknown_entity(kind: str, identifier: object) -> Refusal:
    return hawkbit(404, REPOSITORY + "EntityNotFoundException", "hawkbit.server.error.repo.entityNotFound",
                   f"{kind} with given identifier {{{identifier}}} does not exist.",
                   {"entityId": identifier, "type": kind})


def not_assigned(module_id: int, target_id: str) -> Refusal:
    """No active, not cancelling action of the target contains the module."""
    return hawkbit(404, REPOSITORY + "SoftwareModuleNotAssignedToTargetException",
                   "hawkbit.server.error.repo.entityNotFound",
                   f"No assignment found for SoftwareModule with id {{{module_id}}} "
                   f"to Target with id {{{target_id}}}.")


def not_cancelable() -> Refusal:
    return hawkbit(405, REPOSITORY + "CancelActionNotAllowedException",
                   "hawkbit.server.error.action.notCancelable", "The action is not in canceling state.")
