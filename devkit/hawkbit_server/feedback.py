# SPDX-License-Identifier: Apache-2.0
"""The effect of feedback on an action: the two tables of hawkBit 0.9.0, one for each feedback resource."""

from __future__ import annotations

from . import errors, validation
from .history import OWN_PREFIX
from .model import Action, ActionType, Status
from .store import Store
from .validation import Feedback

DEPLOYMENT_ENTRIES = {
    "proceeding": Status.RUNNING, "scheduled": Status.RUNNING, "resumed": Status.RUNNING,
    "canceled": Status.CANCELED, "rejected": Status.WARNING,
    "download": Status.DOWNLOAD, "downloaded": Status.DOWNLOADED,
}


def _note_code(action: Action, feedback: Feedback) -> None:
    if feedback.code is not None:
        action.last_status_code = feedback.code


def _messages(feedback: Feedback) -> list[str]:
    messages = validation.to_messages(feedback.details)
    if feedback.code is not None:
        messages.append(f"Device reported status code: {feedback.code}")
    return messages


def _check_texts(feedback: Feedback, method: str) -> None:
    for index, detail in enumerate(feedback.details):
        if validation.contains_markup(detail):
            raise errors.markup(method, index)


def _check_quota(action: Action, messages: list[str | None], final: bool) -> None:
    if len(messages) > validation.MAX_MESSAGES:
        raise errors.quota(len(messages), "Message", "ActionStatus", "<new>", validation.MAX_MESSAGES)
    if not final:
        check_entries(action)


def check_entries(action: Action) -> None:
    """An action has at most 1000 status entries; closing feedback does not count, downloads do."""
    if len(action.entries) >= validation.MAX_ENTRIES:
        raise errors.quota(1, "ActionStatus", "Action", str(action.id), validation.MAX_ENTRIES)


def on_deployment(store: Store, action: Action, feedback: Feedback) -> None:
    """Feedback on the deployment. A cancelling action accepts it too, and closing feedback then closes the action.

    Throws the refusals 410 (the action is closed), 400 (markup) and 403 (too many pieces or entries).
    """
    if not action.active:
        raise errors.without_body(410)
    _check_texts(feedback, "addUpdateActionStatus")
    final = feedback.execution == "closed"
    if final:
        entry = Status.ERROR if feedback.finished == "failure" else Status.FINISHED
    else:
        entry = DEPLOYMENT_ENTRIES[feedback.execution]
    messages: list[str | None] = list(_messages(feedback))
    if not messages:
        messages = [f"{OWN_PREFIX}Target reported {entry.value}."]
    _check_quota(action, messages, final)
    store.add_entry(action, entry, *messages, timestamp=feedback.timestamp)
    _note_code(action, feedback)
    if final or (entry is Status.DOWNLOADED and action.type is ActionType.DOWNLOADONLY):
        store.close(action, entry)


def on_cancel(store: Store, action: Action, feedback: Feedback) -> None:
    """Feedback on the cancellation: a refusal sets the action back to RUNNING, a confirmation closes it.

    Throws the refusals 405 (the action is not cancelling), 400 (markup) and 403 (too many pieces or entries).
    """
    _check_texts(feedback, "addCancelActionStatus")
    if not action.is_cancelling():
        raise errors.not_cancelable()
    details: list[str | None] = list(_messages(feedback))
    if feedback.execution == "closed" and feedback.finished != "failure":
        _confirm(store, action, feedback, details)
    elif feedback.execution == "closed":
        _go_on(store, action, feedback, Status.ERROR,
               [OWN_PREFIX + "Target was not able to complete cancellation.", *details])
    elif feedback.execution == "rejected":
        _go_on(store, action, feedback, Status.CANCEL_REJECTED,
               [OWN_PREFIX + "Target rejected the cancellation request.", *details])
    elif feedback.execution == "canceled":
        text = "Target reported cancel for a cancel which is not supported by the server."
        _note(store, action, feedback, Status.WARNING, [OWN_PREFIX + text, *details])
    else:
        _note(store, action, feedback, Status.RUNNING, details or [None])


def _confirm(store: Store, action: Action, feedback: Feedback, details: list[str | None]) -> None:
    messages = [OWN_PREFIX + "Cancellation confirmed.", *details,
                OWN_PREFIX + "Cancellation completion is finished sucessfully."]
    _check_quota(action, messages, final=True)
    store.add_entry(action, Status.CANCELED, *messages, timestamp=feedback.timestamp)
    _note_code(action, feedback)
    if action.active:
        store.close(action, Status.CANCELED)


def _go_on(store: Store, action: Action, feedback: Feedback, entry: Status, messages: list[str | None]) -> None:
    _note(store, action, feedback, entry, messages)
    if action.active:
        action.set_status(Status.RUNNING)


def _note(store: Store, action: Action, feedback: Feedback, entry: Status, messages: list[str | None]) -> None:
    _check_quota(action, messages, final=False)
    store.add_entry(action, entry, *messages, timestamp=feedback.timestamp)
    _note_code(action, feedback)
