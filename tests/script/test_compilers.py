# SPDX-License-Identifier: Apache-2.0
"""script/compilers, with a program of one line instead of the daemon and a Boost that is only a file."""
from __future__ import annotations

import os
import pathlib
import shutil
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LISTS = {
    "CMakeLists.txt": "cmake_minimum_required(VERSION 3.16)\nproject(one CXX)\nadd_subdirectory(src)\n",
    "src/CMakeLists.txt": "add_executable(zephran main.cpp)\ntarget_compile_options(zephran PRIVATE -Wall)\n"
    "find_path(FOUND BoostConfig.cmake PATHS ${Boost_DIR} NO_DEFAULT_PATH)\n",
}
CLEAN = "int main() {}\n"
WITH_MESSAGE = "int main() { int unused; }\n"


@pytest.fixture(name="compile_with")
def fixture_compile_with(tmp_path):
    """Compiles a program in g++-17 with the Boost of this name; returns the exit status."""
    for name in ("script/lib/common.sh", "script/lib/debian_archive.sh", "script/compilers"):
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROJECT / name, tmp_path / name)
    (tmp_path / "src").mkdir()
    (tmp_path / "script/bootstrap").symlink_to("/bin/true")
    for name, text in LISTS.items():
        (tmp_path / name).write_text(text, encoding="utf-8")

    def compile_with(program, boost="boost"):
        source = tmp_path / "src/main.cpp"
        if not source.exists() or source.read_text(encoding="utf-8") != program:
            source.write_text(program, encoding="utf-8")
        environment = {**os.environ, "XDG_CACHE_HOME": str(tmp_path / boost), "CCACHE_DIR": str(tmp_path / "ccache")}
        directory = pathlib.Path(subprocess.run(
            ["bash", "-c", "source script/lib/common.sh; source script/lib/debian_archive.sh; "
             "cached boost-1.81 script/compilers"],
            cwd=tmp_path, env=environment, capture_output=True, text=True, check=True).stdout.strip())
        (directory / "Boost-1.81.0").mkdir(parents=True, exist_ok=True)
        (directory / "Boost-1.81.0/BoostConfig.cmake").touch()
        (directory / "complete").touch()
        return subprocess.run([tmp_path / "script/compilers", "g++-17"], env=environment, capture_output=True,
                              check=False).returncode
    return compile_with


def test_program_without_a_message_passes(compile_with):
    assert compile_with(CLEAN) == 0


def test_message_is_a_failure_each_time(compile_with):
    assert [compile_with(WITH_MESSAGE), compile_with(WITH_MESSAGE)] == [1, 1]


def test_message_of_before_does_not_count(compile_with):
    assert [compile_with(WITH_MESSAGE), compile_with(CLEAN)] == [1, 0]


def test_nothing_is_kept_of_another_boost(compile_with, tmp_path):
    compile_with(CLEAN, "boost")
    compile_with(CLEAN, "other")

    cache = (tmp_path / "build/compilers/g++-17/CMakeCache.txt").read_text(encoding="utf-8")
    assert f"FOUND:PATH={tmp_path}/other/" in cache
