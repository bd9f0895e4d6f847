# SPDX-License-Identifier: Apache-2.0
"""What became of each mutation, kept in a file so that an interrupted run goes on where it was."""
from __future__ import annotations

import hashlib
import json
import pathlib
import threading
from collections.abc import Iterable
from dataclasses import asdict, dataclass

KILLED, TIMED_OUT, SURVIVED, UNREACHED, STILLBORN = "killed", "timed out", "survived", "unreached", "stillborn"


@dataclass(frozen=True)
class Verdict:
    """A state, and the program whose tests led to it."""

    state: str
    program: str = ""

    @property
    def is_survivor(self) -> bool:
        """Whether the tests passed with the mutation."""
        return self.state in (SURVIVED, UNREACHED)


def digest(parts: Iterable[str]) -> str:
    """One name for all of the parts."""
    found = hashlib.sha256()
    for part in parts:
        found.update(f"{len(part)}:{part}".encode())
    return found.hexdigest()


def digest_of_files(paths: Iterable[pathlib.Path]) -> str:
    """One name for the contents of these files, and of those below directories among them."""
    files = sorted(file for path in paths for file in ([path] if path.is_file() else path.rglob("*")) if file.is_file())
    return digest(f"{file.name}\n{file.read_text(encoding='utf-8', errors='replace')}" for file in files)


class Results:
    """Verdicts by the digest of what they depend on. Several threads may add some."""

    def __init__(self, path: pathlib.Path, resume: bool) -> None:
        self._lock = threading.Lock()
        self._verdicts: dict[str, Verdict] = {}
        if resume and path.exists():
            for line in path.read_text(encoding="utf-8").splitlines():
                key, verdict = json.loads(line)
                self._verdicts[key] = Verdict(**verdict)
        path.parent.mkdir(parents=True, exist_ok=True)
        self._file = path.open("a" if resume else "w", encoding="utf-8")

    def get(self, key: str) -> Verdict | None:
        """The verdict of an earlier run, or of this one."""
        return self._verdicts.get(key)

    def put(self, key: str, verdict: Verdict) -> None:
        """Keeps a verdict at once."""
        with self._lock:
            self._verdicts[key] = verdict
            self._file.write(json.dumps([key, asdict(verdict)]) + "\n")
            self._file.flush()
