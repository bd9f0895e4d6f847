# SPDX-License-Identifier: Apache-2.0
"""The build tree that the mutations are compiled against. Its own objects stay as they are."""
from __future__ import annotations

import json
import os
import pathlib
import re
import shlex
import subprocess
from functools import cached_property
from typing import NamedTuple

# It keeps a processor busy for a while, and repeats what the other program of its folder tests.
SLOW_PROGRAMS = ("bus_soak_test",)
OWN_FILES = pathlib.Path(__file__).resolve().parent


class Compiled(NamedTuple):
    """What became of a compilation."""

    ok: bool
    errors: str


class Tree:
    """A configured and built tree with the tests of the project."""

    def __init__(self, root: pathlib.Path, directory: pathlib.Path) -> None:
        self.root = root
        self.directory = directory
        self.work = directory / "mutants"
        self._commands: dict[str, list[str]] = {}
        self._inputs: dict[str, set[str]] = {}

    def build(self, jobs: int) -> None:
        """Brings the tree up to date. The compiler cache serves here, but not for mutations."""
        environment = os.environ | {"CCACHE_BASEDIR": str(self.root), "CCACHE_NOHASHDIR": "1"}
        launcher = "ccache" if any(os.access(f"{path}/ccache", os.X_OK) for path in os.get_exec_path()) else ""
        for command in (
                ["cmake", "--preset", "debug", "-B", str(self.directory), "--log-level=WARNING",
                 f"-DCMAKE_C_COMPILER_LAUNCHER={launcher}", f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}"],
                ["cmake", "--build", str(self.directory), "-j", str(jobs)]):
            subprocess.run(command, check=True, cwd=self.root, env=environment, stdout=subprocess.DEVNULL)
        self.work.mkdir(exist_ok=True)

    def _ninja(self, *arguments: str) -> list[str]:
        done = subprocess.run(["ninja", "-C", str(self.directory), "-t", *arguments], check=True,
                              capture_output=True, text=True)
        return done.stdout.splitlines()

    @cached_property
    def programs(self) -> list[str]:
        """The unit-test programs, by their paths in the tree."""
        found = [line.partition(":")[0] for line in self._ninja("targets", "all") if "CXX_EXECUTABLE_LINKER" in line]
        return [name for name in found if re.fullmatch(r"tests/(lib|src|platform)/[\w/]+", name)
                and name.rpartition("/")[2] not in SLOW_PROGRAMS]

    @cached_property
    def compile_commands(self) -> dict[str, list[str]]:
        """The compiler's command line for each object, without the names of the source and of the object."""
        entries = json.loads((self.directory / "compile_commands.json").read_text(encoding="utf-8"))
        commands = {}
        for entry in entries:
            words = shlex.split(entry["command"])
            target = words[words.index("-o") + 1]
            commands[target] = words
        return commands

    @cached_property
    def dependencies(self) -> dict[str, set[str]]:
        """The headers of the project that each object was compiled from, and its source."""
        found: dict[str, set[str]] = {}
        prefix = f"{self.root}/"
        current: set[str] = set()
        for line in self._ninja("deps"):
            if line and not line[0].isspace():
                current = found.setdefault(line.partition(":")[0], set())
            elif line:
                path = os.path.normpath(self.directory / line.strip())
                if path.startswith(prefix):
                    current.add(path.removeprefix(prefix))
        return found

    def objects_of(self, source: str, program: str) -> list[str]:
        """The objects of a program that a source or a header takes part in."""
        if program not in self._inputs:
            self._inputs[program] = set(self._ninja("inputs", program))
        return sorted(target for target in self._inputs[program] if source in self.dependencies.get(target, ()))

    def link_command(self, program: str) -> list[str]:
        """The command that links a program."""
        if program not in self._commands:
            line = self._ninja("commands", "-s", program)[-1]
            part = next(part for part in line.split(" && ") if f" -o {program}" in part)
            self._commands[program] = shlex.split(part)
        return self._commands[program]

    def compile(self, target: str, source: pathlib.Path, to: pathlib.Path, overlay: pathlib.Path) -> Compiled:
        """Compiles a source in place of the object's own one. Headers in the overlay replace others."""
        words = [word for word in self.compile_commands[target] if not word.startswith(("-W", "-g"))]
        words[words.index("-o") + 1] = str(to)
        words[words.index("-c") + 1] = str(source)
        words[1:1] = [f"-I{overlay}", "-include", str(OWN_FILES / "choice.h"), "-w", "-O0"]
        done = subprocess.run(words, cwd=self.directory, capture_output=True, text=True, errors="replace",
                              env=os.environ | {"LC_ALL": "C"}, check=False)
        return Compiled(done.returncode == 0, done.stderr)

    def runtime(self) -> pathlib.Path:
        """The object that chooses among mutations."""
        source, target = OWN_FILES / "runtime.cpp", self.work / "runtime.o"
        if not target.exists() or target.stat().st_mtime < source.stat().st_mtime:
            subprocess.run(["c++", "-std=c++17", "-O1", "-c", str(source), "-o", str(target)], check=True)
        return target

    def link(self, program: str, objects: dict[str, pathlib.Path], to: pathlib.Path) -> None:
        """Links a program with other objects in place of some of its own. They come before the libraries of those."""
        words = list(self.link_command(program))
        at = words.index("-o")
        replaced = [str(objects[word]) if word in objects else word for word in words]
        additional = [str(path) for target, path in objects.items() if target not in words]
        replaced[at + 1] = str(to)
        replaced[at:at] = [*additional, str(self.runtime())]
        fast = ["-fuse-ld=gold"] if any(os.access(f"{path}/ld.gold", os.X_OK) for path in os.get_exec_path()) else []
        subprocess.run([*replaced, *fast], cwd=self.directory, check=True, capture_output=True)
