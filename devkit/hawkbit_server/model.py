# SPDX-License-Identifier: Apache-2.0
"""What the update server keeps: targets, software modules, distribution sets, actions.

Names and states are those of hawkBit 0.9.0, where an update of one target is an action.
"""

from __future__ import annotations

import hashlib
import secrets
import time
from dataclasses import dataclass, field
from enum import StrEnum


class Status(StrEnum):
    """State of an action and type of a status entry, written as the management interface does."""

    SCHEDULED = "scheduled"
    RUNNING = "running"
    RETRIEVED = "retrieved"
    DOWNLOAD = "download"
    DOWNLOADED = "downloaded"
    WARNING = "warning"
    CANCELING = "canceling"
    CANCELED = "canceled"
    CANCEL_REJECTED = "cancel_rejected"
    FINISHED = "finished"
    ERROR = "error"


class ActionType(StrEnum):
    """How urgent an update is, as given with the assignment."""

    FORCED = "forced"
    SOFT = "soft"
    TIMEFORCED = "timeforced"
    DOWNLOADONLY = "downloadonly"


@dataclass(frozen=True)
class Artifact:
    """One file of a software module, uploaded at a time in seconds. The real server refuses an empty file."""

    filename: str
    content: bytes = field(repr=False)
    uploaded_at: float = field(default_factory=time.time, compare=False)

    def __post_init__(self) -> None:
        if not self.filename:
            raise ValueError("an artifact needs a file name")
        if not self.content:
            raise ValueError(f"artifact {self.filename!r} is empty")

    def digest(self, algorithm: str) -> str:
        """Lower-case hexadecimal digest; `algorithm` is md5, sha1 or sha256."""
        return hashlib.new(algorithm, self.content).hexdigest()


@dataclass(eq=False)
class SoftwareModule:
    """One chunk of a deployment; it stays the same when its artifacts are replaced.

    `type` is the module type's key, for example "script". `metadata` are those that targets may see.
    """

    id: int
    type: str
    name: str
    version: str
    artifacts: tuple[Artifact, ...] = ()
    metadata: tuple[tuple[str, str], ...] = ()

    def artifact(self, filename: str) -> Artifact | None:
        """The file of this name; None without one."""
        return next((each for each in self.artifacts if each.filename == filename), None)


@dataclass(frozen=True)
class DistributionSet:
    """The modules that are assigned together."""

    id: int
    modules: tuple[SoftwareModule, ...]


@dataclass(frozen=True)
class StatusEntry:
    """One report about an action, by the device or by the server itself.

    `occurred_at` is in milliseconds: the device's own `timestamp` if it sent one, else the server's clock.
    A message may be None: a cancel feedback without details leaves such an entry.
    """

    type: Status
    messages: tuple[str | None, ...]
    occurred_at: int


@dataclass
class Window:
    """The maintenance window of an action: opened and closed by hand, or opening at a time of the server's clock."""

    is_open: bool = False
    opens_at: float | None = None

    def available(self, now: float) -> bool:
        """Whether it is open."""
        return self.is_open or (self.opens_at is not None and now >= self.opens_at)

    def time_left(self, now: float) -> float | None:
        """Seconds until it opens by itself; None when it is open or no time is set."""
        if self.available(now) or self.opens_at is None:
            return None
        return self.opens_at - now


@dataclass(eq=False)
class Target:
    """A device as the server knows it. `security_token` is its secret, with which it may be let in."""

    id: str
    number: int
    attributes: dict[str, str] = field(default_factory=dict)
    attributes_requested: bool = True
    update_status: str = "registered"
    polls: int = 0
    assigned: DistributionSet | None = None
    installed: DistributionSet | None = None
    installed_action: int | None = None
    security_token: str = field(default_factory=lambda: secrets.token_hex(16), repr=False)


@dataclass(eq=False)
class Action:
    """One update of one target, from its assignment to its end.

    `revision` counts the changes of the record itself; the `c` of the deployment link follows it.
    `spoilt` means that the device read the action again after it was closed. This changes its recorded state from
    finished to retrieved and stalls a rollout.
    `last_status_code` is the code of the newest report that had one.
    """

    id: int
    target: Target
    distribution_set: DistributionSet
    type: ActionType
    force_time: float | None = None
    window: Window | None = None
    status: Status = Status.RUNNING
    active: bool = True
    spoilt: bool = False
    revision: int = 1
    last_status_code: int | None = None
    entries: list[StatusEntry] = field(default_factory=list)

    def set_status(self, status: Status) -> None:
        """Changes the status, and with it the revision."""
        if self.status is not status:
            self.status = status
            self.revision += 1

    def is_cancelling(self) -> bool:
        """Whether the device is, or was, asked to cancel."""
        return self.status in (Status.CANCELING, Status.CANCELED)

    def is_forced(self, now: float) -> bool:
        """Whether the device must not wait."""
        if self.type is ActionType.TIMEFORCED:
            return self.force_time is not None and now >= self.force_time
        return self.type is not ActionType.SOFT

    def has_module(self, module_id: int) -> bool:
        """Whether the module is part of the action."""
        return any(module.id == module_id for module in self.distribution_set.modules)

    def messages(self) -> list[str]:
        """All texts of all entries, in order."""
        return [text for entry in self.entries for text in entry.messages if text is not None]
