# SPDX-License-Identifier: Apache-2.0
"""Which bus libraries the build uses; a package never gets stand-ins."""
import pathlib
import shutil
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LIBRARIES = ("libubus.a", "libubox.a", "libblobmsg_json.a", "libjson-c.a")
HEADERS = ("libubus.h", "libubox/blobmsg_json.h")

PROJECT_TEXT = """
cmake_minimum_required(VERSION 3.25)
project(bus NONE)
set(CMAKE_FIND_LIBRARY_PREFIXES lib)
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
include({module})
get_target_property(linked zephran_bus_libraries INTERFACE_LINK_LIBRARIES)
message(STATUS "linked: ${{linked}}")
foreach(library zephran_ubox zephran_ubus_library zephran_blobmsg_json)
    if(TARGET ${{library}})
        get_target_property(is_imported ${{library}} IMPORTED)
        if(is_imported)
            get_target_property(location ${{library}} IMPORTED_LOCATION)
            get_target_property(needed ${{library}} INTERFACE_LINK_LIBRARIES)
            message(STATUS "${{library}}: ${{location}} ${{needed}}")
        endif()
    endif()
endforeach()
"""


@pytest.fixture(name="configure")
def fixture_configure(tmp_path):
    """Configures a project that only searches; returns its exit status and its output."""
    module = PROJECT / "cmake/ZephranBusLibraries.cmake"
    (tmp_path / "CMakeLists.txt").write_text(PROJECT_TEXT.format(module=module), encoding="utf-8")

    def configure(*options):
        # Independent of what this machine has.
        alone = ("-DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF",
                 "-DCMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH=OFF",
                 "-G", "Ninja", f"-DCMAKE_MAKE_PROGRAM={shutil.which('ninja')}")
        done = subprocess.run(["cmake", "-S", tmp_path, "-B", tmp_path / "build", *alone, *options],
                              capture_output=True, text=True, check=False)
        return done.returncode, " ".join((done.stdout + done.stderr).split())
    return configure


@pytest.fixture(name="prefix")
def fixture_prefix(tmp_path):
    """A prefix with files that look like the system's libraries."""
    for name in (*(f"lib/{name}" for name in LIBRARIES), *(f"include/{name}" for name in HEADERS)):
        path = tmp_path / "prefix" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.touch()
    return tmp_path / "prefix"


def noted(tmp_path):
    return (tmp_path / "build/message-bus.txt").read_text(encoding="utf-8")


def test_system_libraries_take_precedence(configure, prefix, tmp_path):
    status, said = configure(f"-DCMAKE_PREFIX_PATH={prefix}", "-DZEPHRAN_BUILD_DEVKIT=ON")

    assert status == 0, said
    assert f"Message bus: libubus of the system ({prefix}/lib/libubus.a)" in said
    for library in LIBRARIES:
        assert f"{prefix}/lib/{library}" in said
    assert "libubus of the system" in noted(tmp_path)


def test_stand_ins_are_used_without_system_libraries(configure, tmp_path):
    status, said = configure("-DZEPHRAN_BUILD_DEVKIT=ON")

    assert status == 0, said
    assert "Message bus: stand-ins of the development kit, not for a gateway" in said
    assert "linked: ubus_standin;blobmsg_json_standin" in said
    assert "stand-ins" in noted(tmp_path)


def test_libraries_are_required_without_the_development_kit(configure):
    status, said = configure("-DZEPHRAN_BUILD_DEVKIT=OFF")

    assert status != 0
    assert "The libraries of the message bus (libubus, libubox, libblobmsg_json, libjson-c) are incomplete" in said
    assert "UBUS_LIBRARY" in said
    assert "CMAKE_PREFIX_PATH" in said


@pytest.mark.parametrize("missing", [*(f"lib/{name}" for name in LIBRARIES),
                                     *(f"include/{name}" for name in HEADERS)])
def test_incomplete_system_libraries_are_refused(configure, prefix, missing):
    (prefix / missing).unlink()

    status, said = configure(f"-DCMAKE_PREFIX_PATH={prefix}", "-DZEPHRAN_BUILD_DEVKIT=OFF")

    assert status != 0
    assert "The libraries of the message bus (libubus, libubox, libblobmsg_json, libjson-c) are incomplete" in said
