# SPDX-License-Identifier: Apache-2.0
"""The server's records, and the operator's changes to them."""

from __future__ import annotations

import threading
import time
from collections.abc import Callable, Iterable, Mapping
from dataclasses import dataclass
from typing import Any

from .history import OWN_PREFIX
from .model import Action, ActionType, Artifact, DistributionSet, SoftwareModule, Status, StatusEntry, Target, Window
from .settings import Settings


class OperatorError(RuntimeError):
    """The management interface would refuse this step."""


@dataclass(frozen=True)
class Event:
    """Something happened; `data` depends on `name` (the README lists them)."""

    name: str
    target: str
    action: int | None
    data: Mapping[str, Any]


Observer = Callable[[Event], None]


class Store:
    """All records behind one lock. Methods of the operator raise OperatorError where the real server refuses.

    `clock` returns seconds since the epoch. Entries get strictly increasing milliseconds, so that two reports never
    have the same time, however fast a test sends them (the real server distinguishes reports by milliseconds).
    """

    def __init__(self, settings: Settings, clock: Callable[[], float] = time.time) -> None:
        self.settings = settings
        self.clock = clock
        self.changed = threading.Condition(threading.RLock())
        self.targets: dict[str, Target] = {}
        self.modules: dict[int, SoftwareModule] = {}
        self.actions: dict[int, Action] = {}
        self.observers: list[Observer] = []
        self._numbers: dict[str, int] = {}
        self._last_stamp = 0

    def number(self, kind: str) -> int:
        with self.changed:
            self._numbers[kind] = self._numbers.get(kind, 0) + 1
            return self._numbers[kind]

    def continue_numbers(self, kind: str, following: int) -> None:
        with self.changed:
            if following <= self._numbers.get(kind, 0):
                raise OperatorError(f"the number {following} was already given to a {kind}")
            self._numbers[kind] = following - 1

    def emit(self, name: str, target: str, action: int | None = None, **data: Any) -> None:
        """Calls the observers in the thread of the event, and wakes waiting threads."""
        event = Event(name, target, action, data)
        for observer in list(self.observers):
            observer(event)
        with self.changed:
            self.changed.notify_all()

    def stamp(self) -> int:
        with self.changed:
            self._last_stamp = max(self._last_stamp + 1, int(self.clock() * 1000))
            return self._last_stamp

    def add_entry(self, action: Action, kind: Status, *messages: str | None, timestamp: int | None = None) -> None:
        stamp = self.stamp()
        action.entries.append(StatusEntry(kind, messages, stamp if timestamp is None else timestamp))

    def add_retrieved(self, action: Action, text: str) -> bool:
        """Adds a RETRIEVED entry unless the last entry is one; returns whether it did."""
        if action.entries and action.entries[-1].type is Status.RETRIEVED:
            return False
        self.add_entry(action, Status.RETRIEVED, OWN_PREFIX + text)
        return True

    def register(self, target_id: str, update_status: str) -> Target:
        target = Target(target_id, self.number("target"), update_status=update_status)
        self.targets[target_id] = target
        self.emit("registered", target_id)
        return target

    def open_action(self, target: Target) -> Action | None:
        """The one action that is offered: the oldest active one."""
        with self.changed:
            return min((each for each in self.actions.values() if each.target is target and each.active),
                       key=lambda each: each.id, default=None)

    def add_module(self, kind: str, name: str, version: str, artifacts: Mapping[str, bytes],
                   metadata: Mapping[str, str]) -> SoftwareModule:
        files = tuple(Artifact(filename, bytes(content)) for filename, content in artifacts.items())
        module = SoftwareModule(self.number("module"), kind, name.strip(), version, files,
                                tuple(metadata.items()))
        with self.changed:
            self.modules[module.id] = module
        return module

    def replace_artifact(self, module: SoftwareModule, filename: str, content: bytes) -> None:
        with self.changed:
            if module.artifact(filename) is None:
                raise OperatorError(f"software module {module.id} has no artifact {filename}")
            module.artifacts = tuple(Artifact(filename, content) if each.filename == filename else each
                                     for each in module.artifacts)

    def assign(self, target: Target, what: DistributionSet | Iterable[SoftwareModule], kind: ActionType,
               force_time: float | None, window: Window | None) -> Action:
        """Creates the action. This cancels (or closes) every other active action of the target."""
        with self.changed:
            chosen = what if isinstance(what, DistributionSet) else DistributionSet(self.number("set"), tuple(what))
            if not chosen.modules:
                raise OperatorError("a distribution set needs at least one software module")
            if chosen in (target.assigned, target.installed):
                raise OperatorError(f"distribution set {chosen.id} is already assigned to {target.id}")
            action = self.add_action(target, chosen, kind, force_time=force_time, window=window)
            self.begin(action, "Assignment initiated by user 'admin'")
        return action

    def add_action(self, target: Target, chosen: DistributionSet, kind: ActionType, **state: Any) -> Action:
        """A new record without any effect yet; `state` holds further members of it."""
        with self.changed:
            action = Action(self.number("action"), target, chosen, kind, **state)
            self.actions[action.id] = action
            return action

    def begin(self, action: Action, text: str) -> None:
        """Assigns the action's set. This cancels (or closes) every other active action of the target."""
        target = action.target
        with self.changed:
            for older in [each for each in self.actions.values() if each.target is target and each.active]:
                if older is not action:
                    self._supersede(older)
            self.add_entry(action, Status.RUNNING, *([text] if self.settings.assignment_message else []))
            target.assigned = action.distribution_set
            target.update_status = "pending"
        self.emit("assigned", target.id, action.id, type=action.type.value)

    def _supersede(self, older: Action) -> None:
        text = OWN_PREFIX + "cancel obsolete action due to new update"
        if self.settings.auto_close:
            self.add_entry(older, Status.CANCELED, text)
            older.active = False
            older.set_status(Status.CANCELED)
        elif not older.is_cancelling():
            self.add_entry(older, Status.CANCELING, text)
            older.set_status(Status.CANCELING)

    def cancel(self, action: Action) -> None:
        """Asks the device to cancel. The action must be active and not yet cancelling."""
        with self.changed:
            if not action.active or action.is_cancelling():
                raise OperatorError(f"action {action.id} is {action.status.value} and cannot be cancelled")
            self.add_entry(action, Status.CANCELING, OWN_PREFIX + "manual cancelation requested")
            action.set_status(Status.CANCELING)
        self.emit("cancelling", action.target.id, action.id)

    def force_quit(self, action: Action) -> None:
        """Closes the action without the device; a cancel must come first."""
        with self.changed:
            if not action.active or action.status is not Status.CANCELING:
                raise OperatorError(f"action {action.id} is {action.status.value}: force quit needs a cancel before")
            self.add_entry(action, Status.CANCELED, OWN_PREFIX + "A force quit has been performed.")
            self.close(action, Status.CANCELED)
        self.emit("force quit", action.target.id, action.id)

    def close(self, action: Action, status: Status) -> None:
        """Ends an action and updates the state of its target."""
        target = action.target
        action.active = False
        action.set_status(status)
        if status in (Status.FINISHED, Status.DOWNLOADED):
            target.attributes_requested = True
            if status is Status.FINISHED:
                target.installed = action.distribution_set
                target.installed_action = action.id
        elif target.assigned is action.distribution_set:
            target.assigned = target.installed if status is Status.CANCELED else None
        if status is Status.ERROR:
            target.update_status = "error"
        elif self.open_action(target) is None:
            target.update_status = "in_sync"

    def force(self, action: Action) -> None:
        """Turns a soft or time-forced action into a forced one; there is no way back."""
        with self.changed:
            if action.type is ActionType.DOWNLOADONLY:
                raise OperatorError(f"action {action.id} is download-only")
            action.type = ActionType.FORCED
            action.revision += 1
