# SPDX-License-Identifier: Apache-2.0
"""What a build in an SDK takes its libraries from: what is staged, never the machine that builds.

That machine has the same libraries, with files for CMake that would be found first.
"""
import os
import pathlib
import re
import shutil
import subprocess

import pytest

from sdk_bench import SDK, machine_triplet

OBJECTS = ["lib/common/CMakeFiles/zephran_common.dir/json.cpp.o",
           "lib/crypto/CMakeFiles/zephran_crypto.dir/md5_libubox.cpp.o",
           "lib/ubus/CMakeFiles/zephran_ubus.dir/blob_buffer.cpp.o",
           "lib/http/CMakeFiles/zephran_http.dir/make_transport.cpp.o"]

# Seconds that a build may take. The daemon takes minutes on an idle machine, and an hour beside other builds.
BUILD_LIMIT = int(os.environ.get("ZEPHRAN_SDK_BUILD_LIMIT", "7200"))


@pytest.fixture(name="sdk")
def fixture_sdk(tmp_path):
    for program in ("cmake", "ninja"):
        if not shutil.which(program):
            pytest.skip(f"{program} is not installed")
    return SDK(tmp_path)


def machine_has(name):
    return (pathlib.Path("/usr/lib") / machine_triplet() / "cmake" / name).exists()


def test_everything_comes_from_the_staging_directory(sdk):
    assert machine_has("jsoncpp"), "nothing on this machine could be taken by mistake"

    done = sdk.configure()

    assert done.returncode == 0, done.stderr
    found = sdk.cached_paths()
    staged = {name for name, path in found.items() if path.startswith(os.fspath(sdk.staging))}
    assert {"JSONCPP_LIBRARY", "JSONCPP_INCLUDE_DIR", "UBUS_LIBRARY", "UBOX_LIBRARY", "BLOBMSG_JSON_LIBRARY",
            "JSON_C_LIBRARY", "UBUS_INCLUDE_DIR", "UBOX_INCLUDE_DIR", "CURL_INCLUDE_DIR", "Boost_INCLUDE_DIR",
            "CURL_LIBRARY_RELEASE", "Boost_PROGRAM_OPTIONS_LIBRARY_RELEASE"} <= staged
    # Programs are those of the machine.
    assert [name for name in set(found) - staged if not name.startswith(("CMAKE_", "PKG_CONFIG_"))] == []
    rules = (sdk.build / "build.ninja").read_text(encoding="utf-8").split()
    assert f"{sdk.usr}/lib/libjsoncpp.so" in rules
    assert not [word for word in rules if re.match(r"(-I|-L|-isystem)?/usr/(include|lib)", word)]


@pytest.mark.timeout(BUILD_LIMIT)
def test_headers_come_from_the_staging_directory(sdk):
    assert sdk.configure().returncode == 0

    included = sdk.compile(*OBJECTS)

    for header in ("json/value.h", "libubox/md5.h", "libubox/blobmsg.h", "curl/curl.h", "boost/version.hpp"):
        assert [path for path in included if path.endswith(header)] == [f"{sdk.usr}/include/{header}"]
    assert not [path for path in included if re.match(r"/usr/include/(.*/)?(json|jsoncpp|boost|curl)/", path)]


@pytest.mark.parametrize("package, named", [("jsoncpp", "jsoncpp"), ("boost", "Boost"), ("libcurl", "CURL")])
def test_what_is_not_staged_is_missed_though_the_machine_has_it(sdk, package, named):
    sdk.lose(package)

    done = sdk.configure()

    assert done.returncode != 0
    assert re.search(rf"Could NOT find {named}\b", done.stderr)


def test_no_stand_in_takes_the_place_of_a_missing_bus(sdk):
    (sdk.usr / "lib/libubus.so").unlink()

    done = sdk.configure()

    assert done.returncode != 0
    assert "missing: UBUS_LIBRARY" in " ".join(done.stderr.split())


def test_cmake_package_that_is_staged_is_used(sdk):
    package = sdk.usr / "lib/cmake/jsoncpp"
    package.mkdir(parents=True)
    (package / "jsoncppConfig.cmake").write_text(
        "add_library(JsonCpp::JsonCpp SHARED IMPORTED)\nset_target_properties(JsonCpp::JsonCpp PROPERTIES\n"
        f"IMPORTED_LOCATION {sdk.usr}/lib/libjsoncpp.so INTERFACE_INCLUDE_DIRECTORIES {sdk.usr}/include)\n")

    done = sdk.configure()

    assert done.returncode == 0, done.stderr
    assert sdk.cached_paths()["jsoncpp_DIR"] == os.fspath(package)


def test_cross_build_without_a_place_for_its_libraries_is_refused(sdk):
    done = sdk.configure("-DCMAKE_FIND_ROOT_PATH=")

    assert done.returncode != 0
    assert "CMAKE_FIND_ROOT_PATH or CMAKE_SYSROOT" in " ".join(done.stderr.split())


@pytest.mark.timeout(BUILD_LIMIT)
@pytest.mark.skipif("ZEPHRAN_SDK_BUILD" not in os.environ, reason="ZEPHRAN_SDK_BUILD is not set: it takes minutes")
def test_daemon_is_linked_with_what_is_staged(sdk):
    sdk.stage_linkable_bus()
    cache = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
    assert sdk.configure(*cache).returncode == 0

    daemon = sdk.install("zephran")

    needed = sdk.needed_libraries(daemon)
    assert {"libubus.so", "libubox.so", "libblobmsg_json.so"} <= needed
    assert not [name for name in needed if re.match(r"libcrypto|libssl|libuci", name)]
    helped = subprocess.run([daemon, "--help"], capture_output=True, text=True, check=False,
                            env={"LD_LIBRARY_PATH": f"{sdk.usr}/lib"})
    assert "--hawkbit-server" in helped.stdout
