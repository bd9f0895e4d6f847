# SPDX-License-Identifier: Apache-2.0
"""script/lib/tidy.py, with stand-ins for the compiler and clang-tidy."""
from __future__ import annotations

import json
import os
import pathlib
import shutil
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
# Notes the source and finds FAULT in it and in the header that it includes.
CLANG_TIDY = """#!/bin/bash
source=${@: -1}
echo "$source" >>../calls
! grep -H FAULT "$source" src/a.h
"""
# All sources include one header.
CLANG = """#!/bin/bash
echo "a.o: ${@: -1} \\\\"
echo " ../src/a.h"
"""


class Project:
    def __init__(self, root: pathlib.Path) -> None:
        self.root = root
        self._home = root.parent
        for name, text in (("clang-tidy-14", CLANG_TIDY), ("clang++-14", CLANG), ("dpkg-query", "#!/bin/sh\n")):
            self.install(name, text)
        (root / "script/lib").mkdir(parents=True)
        shutil.copy(PROJECT / "script/lib/tidy.py", root / "script/lib")
        subprocess.run(["git", "init", "-q", root], check=True)
        self.write("src/a.cpp", "int a;\n")
        self.write("src/b.cpp", "int b;\n")
        self.write("src/a.h", "\n")
        self.write(".clang-tidy", "Checks: all\n")
        self.compile_with("-O0")

    def install(self, name: str, text: str) -> None:
        tool = self._home / "bin" / name
        tool.parent.mkdir(exist_ok=True)
        tool.write_text(text, encoding="utf-8")
        tool.chmod(0o755)

    def write(self, name: str, text: str) -> None:
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def compile_with(self, option: str) -> None:
        self.write("build/compile_commands.json", json.dumps([
            {"directory": str(self.root / "build"), "file": str(self.root / f"src/{name}.cpp"),
             "command": f"c++ {option} -o {name}.o -c {self.root}/src/{name}.cpp"} for name in ("a", "b")]))

    def run(self, *sources: str) -> tuple[int, list[str], str]:
        """The exit status, the sources that were analysed, and the output."""
        environment = {**os.environ, "PATH": f"{self._home}/bin:{os.environ['PATH']}",
                       "XDG_CACHE_HOME": str(self._home / "cache")}
        done = subprocess.run(
            [self.root / "script/lib/tidy.py", "build", "module.so", *(sources or ("src/a.cpp", "src/b.cpp"))],
            cwd=self.root, env=environment, capture_output=True, text=True, check=False)
        calls = self._home / "calls"
        analysed = sorted(calls.read_text(encoding="utf-8").split()) if calls.exists() else []
        calls.unlink(missing_ok=True)
        return done.returncode, analysed, done.stdout + done.stderr


@pytest.fixture(name="project")
def create_project(tmp_path: pathlib.Path) -> Project:
    return Project(tmp_path / "project")


def test_what_has_passed_is_not_analysed_again(project):
    first, second = project.run(), project.run()

    assert first[:2] == (0, ["src/a.cpp", "src/b.cpp"])
    assert second[:2] == (0, [])


def test_changed_source_is_analysed_again(project):
    project.run()
    project.write("src/b.cpp", "int FAULT;\n")

    status, analysed, output = project.run()

    assert (status, analysed) == (1, ["src/b.cpp"])
    assert "src/b.cpp:int FAULT;" in output


def test_failed_source_is_analysed_again(project):
    project.write("src/b.cpp", "int FAULT;\n")
    project.run()

    assert project.run()[:2] == (1, ["src/b.cpp"])


@pytest.mark.parametrize("change", [
    lambda project: project.write("src/a.h", "int changed;\n"),
    lambda project: project.write(".clang-tidy", "Checks: more\n"),
    lambda project: project.write("src/.clang-tidy", "Checks: more\n"),
    lambda project: project.compile_with("-O2"),
    lambda project: project.write("lib/a.h", "\n"),
    lambda project: project.install("dpkg-query", "#!/bin/sh\necho package 2\n"),
], ids=["header", "settings", "settings of a folder", "compiler command", "header of the same name", "packages"])
def test_change_of_what_findings_depend_on_is_noticed(project, change):
    project.run()
    change(project)

    assert project.run()[:2] == (0, ["src/a.cpp", "src/b.cpp"])


def test_source_without_known_headers_is_always_analysed(project):
    project.install("clang++-14", "#!/bin/sh\nexit 1\n")
    project.run()

    assert project.run()[:2] == (0, ["src/a.cpp", "src/b.cpp"])


def test_source_that_no_target_compiles_is_an_error(project):
    project.write("src/c.cpp", "int c;\n")

    status, _, output = project.run("src/c.cpp")

    assert status == 1
    assert "Error: src/c.cpp is compiled by no target" in output


def test_another_clone_uses_what_has_passed(project, tmp_path):
    project.run()
    clone = Project.__new__(Project)
    clone.__dict__.update(project.__dict__, root=tmp_path / "clone")
    shutil.copytree(project.root, clone.root)
    clone.compile_with("-O0")

    assert clone.run()[:2] == (0, [])
