# SPDX-License-Identifier: Apache-2.0
"""The package's Makefile, read by make with a few rules in place of OpenWrt's."""
import re
import shutil
import stat
import subprocess

import pytest

from package_bench import FILES, PACKAGE, PROJECT

TEXT = (PACKAGE / "Makefile").read_text()

RULES = """
INCLUDE_DIR:=$(TOPDIR)/include
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
INSTALL_CONF:=install -m0600
PKG_INSTALL_DIR:=$(TOPDIR)/built
"""

PACKAGE_RULES = """
define BuildPackage
$(foreach field,SECTION CATEGORY TITLE URL DEPENDS,$(eval $(field):=))
$(eval $(Package/$(1)))
built-package:=$(1)
install-package:
	$$(call Package/$(1)/install,$$(DESTDIR))
show:
	@:$$(foreach name,$$(NAMES),$$(info $$(name)=$$(strip $$($$(name)))))
	@:$$(info conffiles=$$(Package/$(1)/conffiles))
endef
"""


@pytest.fixture(name="make")
def fixture_make(tmp_path):
    if not shutil.which("make"):
        pytest.skip("make is not installed")
    (tmp_path / "include").mkdir()
    (tmp_path / "rules.mk").write_text(RULES)
    (tmp_path / "include/package.mk").write_text(PACKAGE_RULES)
    (tmp_path / "include/cmake.mk").write_text("")
    daemon = tmp_path / "built/usr/sbin/zephran"
    daemon.parent.mkdir(parents=True)
    daemon.write_text("the daemon")

    def make(*arguments):
        done = subprocess.run(
            ["make", "-s", "--no-print-directory", "-C", PACKAGE, f"TOPDIR={tmp_path}", *arguments],
            capture_output=True, text=True, check=False)
        assert (done.returncode, done.stderr) == (0, "")
        return done.stdout

    return make


@pytest.fixture(name="values")
def fixture_values(make):
    names = [*re.findall(r"^(\w+)\s*[:+]?=", TEXT, re.MULTILINE), "DEPENDS", "built-package"]
    shown = make("show", f"NAMES={' '.join(names)}")
    settings, conffiles = shown.split("conffiles=")
    return {**dict(line.split("=", 1) for line in settings.splitlines()),
            "conffiles": conffiles.split()}


@pytest.fixture(name="installed")
def fixture_installed(make, tmp_path):
    """Paths on the gateway with their modes and contents; directories have none."""
    root = tmp_path / "gateway"
    make("install-package", f"DESTDIR={root}")
    return {f"/{path.relative_to(root)}": (stat.S_IMODE(path.stat().st_mode),
                                           path.read_bytes() if path.is_file() else None)
            for path in root.rglob("*")}


def project_text(path):
    return (PROJECT / path).read_text()


def test_version_is_that_of_the_project(values):
    version = re.search(r"project\(zephran VERSION (\S+)", project_text("CMakeLists.txt"))[1]

    assert values["PKG_VERSION"] == version
    assert values["PKG_NAME"] == values["built-package"] == "zephran"
    assert values["PKG_SOURCE"] == f"zephran-{version}.tar.xz"


def test_tarball_is_never_taken_without_a_look_at_its_sum(values):
    # What is offered is made by script/release, which puts the sum in this place.
    assert values["PKG_HASH"] == "unknown"


def test_licence_is_named_and_part_of_the_tarball(values):
    assert values["PKG_LICENSE"] == "Apache-2.0"
    assert "Apache License" in project_text(values["PKG_LICENSE_FILES"])


def test_everything_is_installed_with_its_mode(installed):
    modes = {path: mode for path, (mode, content) in installed.items() if content is not None}

    assert modes == {
        "/usr/sbin/zephran": 0o755, "/usr/libexec/zephran-poll": 0o755,
        "/usr/bin/zephran-status": 0o755,
        "/etc/init.d/zephran": 0o755, "/etc/uci-defaults/10_zephran": 0o755,
        "/etc/config/zephran": 0o600, "/etc/hotplug.d/ntp/40-zephran": 0o644,
        "/etc/hotplug.d/iface/40-zephran": 0o644, "/lib/upgrade/keep.d/zephran": 0o644,
        "/usr/share/rpcd/acl.d/zephran.json": 0o644}


def test_every_file_is_installed_once(installed):
    contents = [content for _, content in installed.values() if content is not None]

    assert sorted(contents) == sorted(
        [path.read_bytes() for path in FILES.iterdir()] + [b"the daemon"])


def test_key_directory_is_closed_to_others(installed):
    assert installed["/etc/zephran"] == (0o700, None)


def test_paths_in_scripts_are_installed(installed):
    scripts = "".join((FILES / name).read_text() for name in
                      ("zephran.init", "zephran.ntp", "zephran.iface", "zephran.poll"))
    named = set(re.findall(r"/usr/(?:sbin|libexec)/[\w-]+", scripts))

    assert named == {"/usr/sbin/zephran", "/usr/libexec/zephran-poll"}
    assert named <= set(installed)


def test_state_of_the_daemon_survives_an_upgrade(values, installed):
    kept = (FILES / "zephran.upgrade").read_text().split()

    assert kept == values["conffiles"] == ["/etc/config/zephran", "/etc/zephran/"]
    for path in kept:
        content = installed[path.rstrip("/")][1]
        assert (content is None) == path.endswith("/")


def test_package_contains_neither_tests_nor_devkit(values):
    options = values["CMAKE_OPTIONS"].split()
    known = re.findall(r"^option\((\w+) ", project_text("CMakeLists.txt"), re.MULTILINE)

    switched_off = [option.removesuffix("=OFF") for option in options if option.endswith("=OFF")]

    assert {"-DZEPHRAN_BUILD_TESTS=OFF", "-DZEPHRAN_BUILD_DEVKIT=OFF"} <= set(options)
    assert switched_off == [f"-D{name}" for name in known]
    assert set(options) - {f"{option}=OFF" for option in switched_off} == {"-DZEPHRAN_MD5=libubox"}


def test_package_is_built_outside_the_source_directory(values):
    assert values["CMAKE_BINARY_SUBDIR"] not in ("", ".")
    assert TEXT.index("CMAKE_BINARY_SUBDIR:=") < TEXT.index("/cmake.mk")


def test_every_required_library_is_a_dependency(values):
    # MD5 is calculated by libubox, so that libcrypto need not be in the image.
    packages = {"Boost": "boost-program_options", "jsoncpp": "jsoncpp", "CURL": "libcurl",
                "OpenSSL": None, "Threads": None, "GTest": None}
    found = re.findall(r"find_package\((\w+)", project_text("CMakeLists.txt"))

    needed = {packages[name] for name in found} - {None}
    needed |= {"libubox", "libubus", "libblobmsg-json"}
    # opened at run time: the configuration, and what libcurl verifies servers with
    needed |= {"libuci", "ca-bundle"}

    assert {f"+{package}" for package in needed | {"libstdcpp"}} == set(values["DEPENDS"].split())
    assert values["PKG_BUILD_DEPENDS"] == "boost"


def test_package_is_built_small(values):
    assert values["PKG_BUILD_FLAGS"].split() == ["gc-sections", "lto"]
    assert TEXT.index("PKG_BUILD_FLAGS:=") < TEXT.index("/package.mk")


def test_makefile_has_the_form_that_the_feed_expects():
    assert TEXT.startswith("# SPDX-License-Identifier: ")
    assert not re.findall(r"^(?:define|\$\(eval).*PKG_NAME", TEXT, re.MULTILINE)
    blocks = dict(re.findall(r"^define (\S+)\n(.*?)^endef", TEXT, re.MULTILINE | re.DOTALL))
    assert set(blocks) == {"Package/zephran", "Package/zephran/description",
                           "Package/zephran/conffiles", "Package/zephran/install"}
    indents = {name: {re.match(r"\s*", line)[0] for line in body.splitlines()}
               for name, body in blocks.items()}
    assert indents == {"Package/zephran": {"  ", "    "}, "Package/zephran/description": {"  "},
                       "Package/zephran/conffiles": {""}, "Package/zephran/install": {"\t"}}
