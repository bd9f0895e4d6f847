# SPDX-License-Identifier: Apache-2.0
"""script/check-licence accepts files with a licence line and names those without."""
from __future__ import annotations

import pathlib
import subprocess

import pytest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "script/check-licence"
LINE = "SPDX-License-Identifier: Apache-2.0\n"


def check(root: pathlib.Path, files: dict[str, str]) -> tuple[int, str]:
    """The exit status and the errors for a repository with these files."""
    subprocess.run(["git", "init", "-q", root], check=True)
    for name, text in files.items():
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
    done = subprocess.run([SCRIPT, root], capture_output=True, text=True, check=False)
    assert done.stdout == ""
    return done.returncode, done.stderr


def test_files_with_their_licence_pass(tmp_path):
    assert check(tmp_path, {
        "src/a.cpp": f"// {LINE}int a;\n",
        "src/a.h": f"// {LINE}",
        "src/a.c": f"// {LINE}",
        "src/CMakeLists.txt": f"# {LINE}add_library(a)\n",
        "cmake/a.cmake": f"# {LINE}",
        "a.py": f'#!/usr/bin/python3\n# {LINE}"""Text."""\n',
        "script/run": f"#!/bin/sh\n# {LINE}true\n",
        "script/lib.sh": f"# {LINE}# shellcheck shell=bash\n",
    }) == (0, "")


@pytest.mark.parametrize("name, text, mark", [
    ("a.h", "#pragma once\n", "//"),
    ("a.cpp", f"# {LINE}", "//"),
    ("a.cpp", f"\n// {LINE}", "//"),
    ("a.c", "", "//"),
    ("a.py", f"// {LINE}", "#"),
    ("a.py", "# SPDX-License-Identifier: MIT\n", "#"),
    ("a.sh", "true\n", "#"),
    ("a.cmake", "", "#"),
    ("sub/CMakeLists.txt", "project(a)\n", "#"),
    ("Makefile", "all:\n", "#"),
    ("tool", "#!/bin/sh\ntrue\n", "#"),
    ("tool", f"#!/bin/sh\n\n# {LINE}", "#"),
    ("sourced", "# shellcheck shell=sh\ntrue\n", "#"),
    ("sourced", f"# Text.\n# shellcheck shell=sh\n# {LINE}", "#"),
])
def test_file_without_its_licence_is_named(tmp_path, name, text, mark):
    assert check(tmp_path, {name: text, "good.py": f"# {LINE}"}) == (
        1, f"Error: {name}: does not begin with: {mark} {LINE}")


@pytest.mark.parametrize("name", ["data.json", "README.md", ".gitattributes"])
def test_data_and_documents_need_no_licence_line(tmp_path, name):
    assert check(tmp_path, {name: "text\n", "good.py": f"# {LINE}"}) == (0, "")


def test_ignored_files_are_not_checked(tmp_path):
    assert check(tmp_path, {".gitignore": "/build/\n", "build/a.cpp": "", "good.py": f"# {LINE}"}) == (0, "")


def test_repository_without_source_files_is_an_error(tmp_path):
    assert check(tmp_path, {"README.md": ""}) == (1, f"Error: there is no source file in {tmp_path}\n")
