# SPDX-License-Identifier: Apache-2.0
"""The calls of the simulated gateway's web server that read and change its configuration."""
from __future__ import annotations

import shlex
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from gateway import Gateway

PERMISSION_DENIED = 6
Sections = dict[str, dict[str, Any]]


def parse(text: str) -> Sections:
    """The named sections of a configuration, as a web interface is told of them."""
    sections: Sections = {}
    section: dict[str, Any] = {}
    for words in map(shlex.split, text.splitlines()):
        match words:
            case ["config", kind, name]:
                section = sections[name] = {".anonymous": False, ".type": kind, ".name": name, ".index": len(sections)}
            case ["option", name, value]:
                section[name] = value
            case ["list", name, value]:
                section.setdefault(name, []).append(value)
    return sections


class WebConfiguration:
    """Answers the calls of one object "uci". What a session changes stays its own: nothing here writes it down."""

    def __init__(self, gateway: Gateway) -> None:
        self._gateway = gateway
        self._changes: dict[str, list[list[str]]] = {}

    def answer(self, session: str, method: str, arguments: Any, may: dict[str, set[str]]) -> list[Any]:
        """Status and reply. `may` says which packages may be read, and which may be written."""
        package = arguments.get("config")
        if method == "changes":
            return [0, {"changes": {"zephran": self._changes[session]} if session in self._changes else {}}]
        if package not in may["read" if method == "get" else "write"]:
            return [PERMISSION_DENIED]
        if method == "get":
            return [0, {"values": parse(self._gateway.config(package))}]
        if method == "set":
            changed = [["set", arguments["section"], name, value] for name, value in arguments["values"].items()]
        else:
            changed = [["remove", arguments["section"], name] for name in arguments["options"]]
        self._changes.setdefault(session, []).extend(changed)
        return [0]
