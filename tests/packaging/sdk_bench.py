# SPDX-License-Identifier: Apache-2.0
"""Configures the project as the feed's CMake rules do, with libraries as the feed stages them."""
import os
import pathlib
import re
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STANDINS = PROJECT / "devkit/openwrt"
MACHINE_HEADERS = pathlib.Path("/usr/include")

# Header directory and library of each package, in the names of the development machine's packages. No package of the
# feed stages files for CMake here.
STAGED = {
    "jsoncpp": ("jsoncpp/json", "json", "jsoncpp"),
    "boost": ("boost", "boost", "boost_program_options"),
    "libcurl": ("curl", "curl", "curl"),
}


def option_of_the_package():
    """What the package's Makefile adds to the options of the feed."""
    text = (PROJECT / "packaging/openwrt/Makefile").read_text(encoding="utf-8")
    added = re.search(r"^CMAKE_OPTIONS \+= \\\n((?:\t.*\n)+)", text, re.MULTILINE)[1]
    return added.replace("\\", "").split()


def machine_triplet():
    return subprocess.run(["gcc", "-print-multiarch"], capture_output=True, text=True, check=True).stdout.strip()


class SDK:
    """A staging directory, and a build directory beside it."""

    def __init__(self, path):
        self.staging = path / "staging_dir/target"
        self.build = path / "build"
        self.usr = self.staging / "usr"
        for directory in ("include", "lib/pkgconfig"):
            (self.usr / directory).mkdir(parents=True)
        for package in STAGED:
            self.stage(package)
        self.stage_bus()

    def stage(self, package):
        headers, staged_as, library = STAGED[package]
        triplet = machine_triplet()
        [source] = [path for path in (MACHINE_HEADERS / headers, MACHINE_HEADERS / triplet / headers) if path.is_dir()]
        (self.usr / "include" / staged_as).symlink_to(source)
        machine_library = pathlib.Path("/usr/lib") / triplet / f"lib{library}.so"
        (self.usr / "lib" / machine_library.name).symlink_to(machine_library.resolve(strict=True))
        (self.usr / f"lib/pkgconfig/{package}.pc").write_text(
            f"prefix=/usr\nName: {package}\nDescription: {package}\nVersion: 1\n"
            f"Cflags: -I${{prefix}}/include\nLibs: -L${{prefix}}/lib -l{library}\n")

    def stage_bus(self):
        """Headers, and empty libraries: what is only configured and compiled is not linked."""
        for directory in ("libubox/include/libubox", "libubus/include/libubus.h", "libubus/include/ubusmsg.h"):
            source = STANDINS / directory
            (self.usr / "include" / source.name).symlink_to(source)
        for library in ("ubus", "ubox", "blobmsg_json", "json-c"):
            (self.usr / f"lib/lib{library}.so").touch()

    def stage_linkable_bus(self):
        """Libraries from the stand-ins' sources.

        The linker finds what libblobmsg_json.so needs only if it is told, as with a compiler for another system.
        """
        machine_library = pathlib.Path("/usr/lib") / machine_triplet() / "libjson-c.so.5"
        staged = self.usr / "lib/libjson-c.so.9"
        staged.write_bytes(machine_library.read_bytes().replace(b"libjson-c.so.5", b"libjson-c.so.9"))
        (self.usr / "lib/libjson-c.so").unlink()
        (self.usr / "lib/libjson-c.so").symlink_to(staged)
        bus = sorted((STANDINS / "libubox").glob("*.cpp"))
        json_parts = [path for path in bus if path.name.startswith("json_")]
        self.link("ubox", *(path for path in bus if path not in json_parts))
        self.link("blobmsg_json", *json_parts, "-ljson-c")
        self.link("ubus", *sorted((STANDINS / "libubus").glob("*.cpp")))

    def link(self, library, *parts):
        target = self.usr / f"lib/lib{library}.so"
        target.unlink()
        subprocess.run(
            ["g++", "-std=c++17", "-shared", "-fPIC", f"-Wl,-soname,{target.name}", f"-I{STANDINS}/libubox/include",
             f"-I{STANDINS}/libubus/include", f"-L{self.usr}/lib", "-o", target, *parts], check=True)

    def install(self, target):
        """Builds the program and installs everything. Returns its path."""
        # With that, what an earlier run has compiled is found though its directories had other names.
        environment = {**os.environ, "CCACHE_BASEDIR": os.fspath(self.build.parent)}
        subprocess.run(["ninja", "-C", self.build, target], env=environment, capture_output=True, check=True)
        root = self.build / "ipkg-install"
        subprocess.run(["cmake", "--install", self.build], env={**os.environ, "DESTDIR": os.fspath(root)},
                       capture_output=True, check=True)
        return root / "usr/sbin" / target

    @staticmethod
    def needed_libraries(program):
        listed = subprocess.run(["readelf", "-d", program], capture_output=True, text=True, check=True)
        return set(re.findall(r"\(NEEDED\).*\[(.*)\]", listed.stdout))

    def lose(self, package):
        _, staged_as, library = STAGED[package]
        for name in (f"include/{staged_as}", f"lib/lib{library}.so", f"lib/pkgconfig/{package}.pc"):
            (self.usr / name).unlink()

    def configure(self, *options):
        """Runs CMake with the flags of the feed's rules. Returns it when it has ended."""
        arguments = [
            "-DCMAKE_SYSTEM_NAME=Linux", "-DCMAKE_SYSTEM_VERSION=1", "-DCMAKE_SYSTEM_PROCESSOR=arm",
            "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG", "-DCMAKE_C_FLAGS_RELEASE=-DNDEBUG",
            # The staged headers are links. The compiler shall tell their names, not what they lead to.
            "-DCMAKE_CXX_FLAGS=-fno-canonical-system-headers",
            f"-DCMAKE_FIND_ROOT_PATH={self.usr};{self.staging}/toolchain", "-DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=BOTH",
            "-DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY", "-DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY",
            "-DCMAKE_STRIP=:", "-DCMAKE_INSTALL_PREFIX=/usr", f"-DCMAKE_PREFIX_PATH={self.staging}",
            f"-DDL_LIBRARY={self.staging}", "-DCMAKE_SKIP_RPATH=TRUE", *option_of_the_package(), *options]
        environment = {**os.environ, "PKG_CONFIG_PATH": f"{self.usr}/lib/pkgconfig"}
        return subprocess.run(["cmake", "-G", "Ninja", "-S", PROJECT, "-B", self.build, *arguments], env=environment,
                              capture_output=True, text=True, check=False)

    def cached_paths(self):
        """Files and directories that the configuration has found, by their names in the cache."""
        cache = (self.build / "CMakeCache.txt").read_text(encoding="utf-8")
        found = re.findall(r"^(\w+):(?:PATH|FILEPATH|UNINITIALIZED)=(/.*)$", cache, re.MULTILINE)
        return dict(found)

    def compile(self, *objects):
        """Compiles these objects. Returns the headers that they include."""
        subprocess.run(["ninja", "-C", self.build, *objects], capture_output=True, check=True)
        listed = subprocess.run(["ninja", "-C", self.build, "-t", "deps", *objects], capture_output=True, text=True,
                                check=True)
        return {line.strip() for line in listed.stdout.splitlines() if line.startswith("    ")}
