#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Runs clang-tidy on source files, except those that have passed before and are unchanged.

    script/lib/tidy.py BUILD_TREE MODULE SOURCE ...

MODULE is the clang-tidy module of tidy_own_code.cpp. A source is unchanged if the following are: its own
text, its compiler command, the project's files that it includes, the settings of clang-tidy, and the
installed packages, which provide all other headers. What has passed is recorded in
${XDG_CACHE_HOME:-~/.cache}/zephran/clang-tidy, for all clones of the project.
"""
from __future__ import annotations

import collections
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "zephran/clang-tidy"
KEPT_SECONDS = 60 * 24 * 3600
NOISE = re.compile(r"^\d+ warnings? generated|^Suppressed \d+ warnings?|^Use -header-filter")


def output_of(*command: str) -> str:
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout


def list_files(*patterns: str) -> list[str]:
    return sorted(output_of("git", "ls-files", "--cached", "--others", "--exclude-standard", *patterns).split())


@functools.cache
def digest(name: str) -> str:
    """The hash of a file, named relative to the project; empty if there is no such file."""
    path = ROOT / name
    return hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else ""


@functools.cache
def settings() -> str:
    """What the findings in all sources depend on."""
    files = list_files("*.clang-tidy", "script/lib/tidy*")
    # A new header may be found instead of another one of its name.
    headers = list_files("*.h")
    count = collections.Counter(pathlib.PurePosixPath(name).name for name in headers)
    ambiguous = [name for name in headers if count[pathlib.PurePosixPath(name).name] > 1]
    return "\n".join([output_of("dpkg-query", "-W"), *(name + digest(name) for name in files), *ambiguous])


class Source:
    def __init__(self, name: str, entry: dict[str, str]) -> None:
        self.name = name
        self._command = shlex.split(entry["command"])
        self._directory = entry["directory"]
        command = entry["command"].replace(str(ROOT), ".")
        key = hashlib.sha256("\n".join([settings(), command, name, digest(name)]).encode()).hexdigest()
        self._record = CACHE / f"{key}.json"

    def has_passed(self) -> bool:
        try:
            included = json.loads(self._record.read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return False
        if any(digest(name) != known for name, known in included.items()):
            return False
        self._record.touch()
        return True

    def keep(self) -> None:
        """Records that the source has passed."""
        included = {name: digest(name) for name in self._included_files()}
        if included and all(included.values()):
            CACHE.mkdir(parents=True, exist_ok=True)
            # A reader must never see half a record.
            partial = self._record.with_suffix(f".{os.getpid()}")
            partial.write_text(json.dumps(included), encoding="utf-8")
            partial.replace(self._record)

    def _included_files(self) -> list[str]:
        """The source and the project's headers that it includes; nothing if they cannot be told."""
        at = self._command.index("-o")
        options = [option for option in self._command[1:at] + self._command[at + 2:] if option != "-c"]
        done = subprocess.run(["clang++-14", "-MM", *options], cwd=self._directory, capture_output=True,
                              text=True, check=False)
        if done.returncode != 0:
            return []
        names = done.stdout.replace("\\\n", " ").partition(":")[2].split()
        return [os.path.relpath(os.path.join(self._directory, name), ROOT) for name in names]


def analyse(source: Source, tree: str, module: str) -> bool:
    """Prints what clang-tidy finds; true if that is nothing."""
    command = ["clang-tidy-14", f"--load={module}", "--checks=zephran-own-code", "--quiet", "-p", tree, source.name]
    done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False)
    found = [line for line in (done.stdout + done.stderr).splitlines() if not NOISE.match(line)]
    if found:
        print("\n".join(found), flush=True)
    if done.returncode == 0 and not found:
        source.keep()
    return done.returncode == 0


def remove_old_records() -> None:
    for path in CACHE.glob("*"):
        if path.stat().st_mtime < time.time() - KEPT_SECONDS:
            path.unlink(missing_ok=True)


def main(tree: str, module: str, *names: str) -> int:
    entries = json.loads((ROOT / tree / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {os.path.relpath(entry["file"], ROOT): entry for entry in entries}
    unknown = [name for name in names if name not in commands]
    for name in unknown:
        print(f"Error: {name} is compiled by no target", file=sys.stderr)
    sources = [Source(name, commands[name]) for name in names if name in commands]
    changed = [source for source in sources if not source.has_passed()]
    print(f"{len(changed)} of {len(sources)} files are new or changed since they passed", flush=True)
    # Large files first, to keep all processors busy until the end.
    changed.sort(key=lambda source: (ROOT / source.name).stat().st_size, reverse=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        passed = list(pool.map(lambda source: analyse(source, tree, module), changed))
    remove_old_records()
    return 0 if all(passed) and not unknown else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
