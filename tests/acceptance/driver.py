"""What the scenarios ask of an update server: the steps of an operator, and what the server recorded.

Each scenario is written once against this interface; `devkit_driver` and `hawkbit_driver` implement it.
Words of states and entries are those of hawkBit's management interface (version 0.9.0).
"""
from __future__ import annotations

import abc
import time
from collections.abc import Callable, Iterable, Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

RECHECK = 0.2
SLOW_BYTES_PER_SECOND = 20_000
# How the texts begin that the server adds to those of the device.
SERVER_TEXTS = ("Update Server: ", "Assignment initiated by", "Initiated by Rollout")


@dataclass(frozen=True)
class Access:
    """How a gateway reaches the server.

    address      host:port, as the daemon is told
    ca           certificate (PEM) of the authority of the server's certificate
    certificate  certificate of the client (PEM), with its key
    stranger     the same of an authority that the server does not know: certificate and key
    """

    address: str
    ca: Path
    certificate: Path
    key: Path
    stranger: tuple[Path, Path]


@dataclass(frozen=True)
class Module:
    """A software module that is ready to be assigned."""

    id: int
    type: str
    name: str
    version: str

    @property
    def chunk(self) -> str:
        """How the gateway names it in its reports."""
        return f"{self.type}:{self.name}:{self.version}"


@dataclass(frozen=True)
class Entry:
    """One status entry: by the device, or by the server itself (texts that begin with "Update Server: ")."""

    type: str
    messages: tuple[str, ...]


@dataclass(frozen=True)
class ActionRecord:
    """What the server knows of an action: `status` is its detailed status, entries are in order of time."""

    active: bool
    status: str
    entries: tuple[Entry, ...]

    @property
    def messages(self) -> list[str]:
        """The texts of all entries, in order."""
        return [text for entry in self.entries for text in entry.messages]

    @property
    def reported(self) -> list[str]:
        """The device's texts, without those of the server."""
        return [text for text in self.messages
                if not text.startswith(SERVER_TEXTS)]


@dataclass(frozen=True)
class TargetRecord:
    """What the server knows of a target: update_status is unknown, registered, pending, in_sync or error."""

    attributes: Mapping[str, str]
    update_status: str


class Rollout(abc.ABC):
    """A rollout that has been started."""

    @abc.abstractmethod
    def status(self) -> str:
        """The rollout's state: "running" or "finished" (others mean trouble)."""

    @abc.abstractmethod
    def groups(self) -> list[str]:
        """The states of its groups in their order: "scheduled", "running" or "finished"."""

    @abc.abstractmethod
    def action_of(self, target: str) -> int | None:
        """The action of a target; None while it has none."""


class Server(abc.ABC):
    """An update server that gateways can reach. Actions are named by their numbers.

    A step that the server refuses raises `ServerRefusal`.
    """

    access: Access
    # Something stands in front of it that can be restarted without it.
    has_proxy: bool
    # The server's own habits, for scenarios that cannot be the same on all of them.
    is_real: bool

    # ---- the operator

    @abc.abstractmethod
    def add_module(self, type: str, name: str, version: str, artifacts: Mapping[str, bytes]) -> Module:
        """Creates a module of a type (os, script, opkg, bl, plc, plc_ghn, zw) and uploads its files."""

    @abc.abstractmethod
    def assign(self, target: str, modules: Iterable[Module], type: str = "forced", *,
               force_time: float | None = None, window_opens_in: float | None = None) -> int:
        """Assigns a new set of these modules and returns the action.

        type             forced, soft, timeforced or downloadonly
        force_time       of a timeforced one: seconds since the epoch
        window_opens_in  gives it a maintenance window that opens in so many seconds and stays open
        """

    @abc.abstractmethod
    def cancel(self, action: int) -> None: ...

    @abc.abstractmethod
    def force_quit(self, action: int) -> None:
        """Ends an action that is being cancelled without the device."""

    @abc.abstractmethod
    def force(self, action: int) -> None:
        """Turns a soft action into a forced one."""

    @abc.abstractmethod
    def request_attributes(self, target: str) -> None: ...

    @abc.abstractmethod
    def start_rollout(self, name: str, targets: list[str], modules: Iterable[Module], groups: int) -> Rollout:
        """Rolls a set out to targets that exist, group after group; the next begins when all of one succeeded."""

    @abc.abstractmethod
    def set_polling_time(self, text: str) -> None:
        """For all gateways, "HH:MM:SS"."""

    @abc.abstractmethod
    def slow_down(self, target: str) -> None:
        """From now on the target's downloads come at SLOW_BYTES_PER_SECOND."""

    # ---- what it recorded

    @abc.abstractmethod
    def target(self, target: str) -> TargetRecord | None:
        """None for a target that it does not know."""

    @abc.abstractmethod
    def action(self, action: int) -> ActionRecord: ...

    # ---- its life

    @abc.abstractmethod
    def stop(self) -> None:
        """Ends it; it keeps what it knows. A proxy in front of it goes on."""

    @abc.abstractmethod
    def start(self) -> None:
        """Brings it back at the same address."""

    @abc.abstractmethod
    def stop_proxy(self) -> None: ...

    @abc.abstractmethod
    def start_proxy(self) -> None: ...

    @abc.abstractmethod
    def close(self) -> None:
        """The scenario is over."""


class ServerRefusal(RuntimeError):
    """The server refused a step of the operator; the text holds what it answered."""


def wait_for(condition: Callable[[], Any], timeout: float, what: str) -> Any:
    """Waits until the condition holds and returns its value; TimeoutError after `timeout` seconds."""
    end = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeoutError(f"{what} did not come about within {timeout} s")
        time.sleep(RECHECK)
