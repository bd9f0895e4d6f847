# SPDX-License-Identifier: Apache-2.0
"""Serves what a JSON file describes, until interrupted.

    {"poll": "00:00:10",
     "modules": [{"type": "script", "name": "hello", "version": "1.0", "artifacts": ["hello.sh"]}],
     "assignments": [{"target": "gw-1", "modules": [0], "type": "forced"}]}

Artifacts are paths relative to the JSON file; `modules` of an assignment are indexes into the list.
"""

from __future__ import annotations

import argparse
import json
import signal
import sys
import threading
from pathlib import Path
from typing import Any

from .server import UpdateServer
from .store import Event
from .tls import CLIENT_MODES, Tls


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="hawkbit-server", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("description", type=Path, nargs="?", help="the JSON file; without it nothing is assigned")
    parser.add_argument("--port", type=int, default=0, help="0 takes a free port, which is printed")
    parser.add_argument("--certificate", type=Path, help="certificate of the server; without it plain http")
    parser.add_argument("--key", type=Path)
    parser.add_argument("--client-ca", type=Path)
    parser.add_argument("--client", choices=CLIENT_MODES, default="ignored", help="what is wanted of the client")
    return parser.parse_args()


def print_event(event: Event) -> None:
    """Prints one line for each event, at once."""
    action = "-" if event.action is None else event.action
    data = " ".join(f"{key}={value!r}" for key, value in event.data.items())
    print(f"{event.name}: target={event.target} action={action} {data}", flush=True)


def prepare(server: UpdateServer, description: dict[str, Any], directory: Path) -> None:
    """Creates the modules and the assignments that the description names."""
    modules = []
    for each in description.get("modules", []):
        files = {name: (directory / name).read_bytes() for name in each.get("artifacts", [])}
        modules.append(server.software_module(each["type"], each["name"], each["version"], files))
    for each in description.get("assignments", []):
        server.assign(each["target"], [modules[index] for index in each["modules"]], each.get("type", "forced"))


def _started(arguments: argparse.Namespace) -> UpdateServer:
    tls = None
    if arguments.certificate is not None:
        tls = Tls(arguments.certificate, arguments.key, arguments.client_ca, arguments.client)
    description: dict[str, Any] = {}
    if arguments.description is not None:
        description = json.loads(arguments.description.read_text(encoding="utf-8"))
    server = UpdateServer(tls, port=arguments.port, poll=description.get("poll", "00:00:10"))
    server.observe(print_event)
    if arguments.description is not None:
        prepare(server, description, arguments.description.parent)
    server.start()
    return server


def main() -> int:
    arguments = _arguments()
    if (arguments.certificate is None) != (arguments.key is None):
        print("hawkbit-server: --certificate and --key need each other", file=sys.stderr)
        return 2
    ended = threading.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: ended.set())
    try:
        server = _started(arguments)
    except (OSError, ValueError, KeyError, IndexError, TypeError) as error:
        print(f"hawkbit-server: {type(error).__name__}: {error}", file=sys.stderr)
        return 1
    print(f"serving {server.url}", flush=True)
    ended.wait()
    server.stop()
    return 0


if __name__ == "__main__":
    sys.exit(main())
