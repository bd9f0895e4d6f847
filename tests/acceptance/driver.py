# SPDX-License-Identifier: Apache-2.0
"""What the scenarios need of an update server: the steps of an operator, and the server's records.

Each scenario is written once against this interface; `devkit_driver` and `hawkbit_driver` implement it.
States and entries have the names of hawkBit's management interface (version 0.9.0).
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
# Prefix of the texts that the server adds to those of the device.
SERVER_TEXTS = ("Update Server: ", "Assignment initiated by", "Initiated by Rollout",
                "Device reported status code: ")


@dataclass(frozen=True)
class Access:
    """How a gateway reaches the server.

    address      host:port, as given to the daemon
    ca           certificate (PEM) of the authority that signed the server's certificate
    certificate  certificate of the client (PEM) and its key
    stranger     a certificate of an authority that the server does not know, and its key
    server       the certificate that the server shows, and its key: a link in front of it shows the same
    """

    address: str
    ca: Path
    certificate: Path
    key: Path
    stranger: tuple[Path, Path]
    server: tuple[Path, Path]


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
    """The server's record of an action: `status` is its detailed status, entries are in order of time."""

    active: bool
    status: str
    entries: tuple[Entry, ...]

    @property
    def messages(self) -> list[str]:
        """The texts of all entries, in order."""
        return [text for entry in self.entries for text in entry.messages]

    @property
    def reported(self) -> list[str]:
        """The texts of the device, without those of the server."""
        return [text for text in self.messages
                if not text.startswith(SERVER_TEXTS)]


@dataclass(frozen=True)
class TargetRecord:
    """The server's record of a target: update_status is unknown, registered, pending, in_sync or error."""

    attributes: Mapping[str, str]
    update_status: str


class Rollout(abc.ABC):
    """A started rollout."""

    @abc.abstractmethod
    def status(self) -> str:
        """The rollout's state: "running" or "finished" (others mean trouble)."""

    @abc.abstractmethod
    def groups(self) -> list[str]:
        """The states of its groups, in order: "scheduled", "running" or "finished"."""

    @abc.abstractmethod
    def action_of(self, target: str) -> int | None:
        """The action of a target; None while it has none."""


class Server(abc.ABC):
    """An update server that gateways can reach. Actions are identified by their numbers.

    A step that the server refuses raises `ServerRefusal`.
    """

    access: Access
    # Whether there is a proxy that can be restarted independently.
    has_proxy: bool
    # Where it listens without TLS and without its proxy; None if it speaks TLS itself.
    plain_port: int | None
    # Differences between the servers, for scenarios that depend on them.
    is_real: bool

    # ---- the operator

    @abc.abstractmethod
    def add_module(self, type: str, name: str, version: str, artifacts: Mapping[str, bytes]) -> Module:
        """Creates a module of a type (os, script, opkg, bl, plc, plc_ghn, zw) and uploads its files."""

    @abc.abstractmethod
    def replace_artifact(self, module: Module, filename: str, content: bytes) -> None:
        """Deletes a file of the module and uploads another one of that name, though the module is assigned."""

    @abc.abstractmethod
    def token_of(self, target: str) -> str:
        """The token with which the target may come without a certificate and without the proxy."""

    @abc.abstractmethod
    def assign(self, target: str, modules: Iterable[Module], type: str = "forced", *,
               force_time: float | None = None, window_opens_in: float | None = None) -> int:
        """Assigns a new set of these modules and returns the action.

        type             forced, soft, timeforced or downloadonly
        force_time       for type timeforced: seconds since the epoch
        window_opens_in  seconds until its maintenance window opens, which then stays open
        """

    @abc.abstractmethod
    def cancel(self, action: int) -> None:
        """Asks the gateway to cancel the action."""

    @abc.abstractmethod
    def force_quit(self, action: int) -> None:
        """Ends an action that is being cancelled, without the device."""

    @abc.abstractmethod
    def force(self, action: int) -> None:
        """Turns a soft action into a forced one."""

    @abc.abstractmethod
    def request_attributes(self, target: str) -> None:
        """Has the server ask the target for its attributes."""

    @abc.abstractmethod
    def start_rollout(self, name: str, targets: list[str], modules: Iterable[Module], groups: int) -> Rollout:
        """Rolls a set out to existing targets; each group begins when all of the previous one has succeeded."""

    @abc.abstractmethod
    def set_polling_time(self, text: str) -> None:
        """Sets the polling time ("HH:MM:SS") of all gateways."""

    @abc.abstractmethod
    def slow_down(self, target: str) -> None:
        """Limits the target's downloads to SLOW_BYTES_PER_SECOND from now on."""

    # ---- what it recorded

    @abc.abstractmethod
    def target(self, target: str) -> TargetRecord | None:
        """The target's record; None for an unknown target."""

    @abc.abstractmethod
    def action(self, action: int) -> ActionRecord: ...

    @abc.abstractmethod
    def actions_with_code(self, code: int) -> set[int]:
        """The actions that a search by this status code (`lastStatusCode`) finds."""

    # ---- its life

    @abc.abstractmethod
    def stop(self) -> None:
        """Stops it; its records stay. A proxy in front of it keeps running."""

    @abc.abstractmethod
    def start(self) -> None:
        """Starts it again at the same address."""

    @abc.abstractmethod
    def stop_proxy(self) -> None: ...

    @abc.abstractmethod
    def start_proxy(self) -> None: ...

    @abc.abstractmethod
    def close(self) -> None:
        """Called at the end of the scenario."""


class ServerRefusal(RuntimeError):
    """The server refused a step of the operator; the text holds its answer."""


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
