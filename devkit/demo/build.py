# SPDX-License-Identifier: Apache-2.0
"""What the demonstration takes from a build."""
import os
import pathlib

from gateway.bus import PROGRAMS

from .failure import DemoFailure

BUS_PROGRAMS = "devkit/openwrt/bin"
BUS_LIBRARIES = "message-bus.txt"


class Build:
    """The programs and libraries of one build directory; DemoFailure names what is missing."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory).resolve()
        self.daemon = self._program("src/zephran")
        self.store_library = self._find_store_library()
        self.bus_programs = self.directory / BUS_PROGRAMS
        for name in PROGRAMS:
            self._program(f"{BUS_PROGRAMS}/{name}")
        self.bus_libraries = self._read_bus_libraries()

    def name_of(self, path):
        """The path relative to the project's directory."""
        return os.path.relpath(path, self.directory.parent.parent)

    def _program(self, name):
        program = self.directory / name
        if not os.access(program, os.X_OK):
            raise DemoFailure(f"{program} is missing; run script/build")
        return program

    def _find_store_library(self):
        found = sorted(self.directory.rglob("libuci.so"))
        if not found:
            raise DemoFailure(f"there is no libuci.so below {self.directory}; build with "
                              "ZEPHRAN_BUILD_DEVKIT=ON")
        return found[0]

    def _read_bus_libraries(self):
        """Which bus libraries the daemon is linked with, as CMake noted it."""
        note = self.directory / BUS_LIBRARIES
        try:
            return note.read_text(encoding="utf-8").strip()
        except FileNotFoundError as failure:
            raise DemoFailure(f"{note} is missing; run script/build") from failure
