# SPDX-License-Identifier: Apache-2.0
"""script/release makes the same tarball of the same commit, and a package that asks for it."""
from __future__ import annotations

import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import tarfile

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PAGE = "luci-app-zephran"
NEEDED = ["script/release", "script/lib/common.sh", "CMakeLists.txt", "packaging/openwrt", "LICENSE"]
IDENTITY = {"GIT_CONFIG_GLOBAL": "/dev/null", "GIT_CONFIG_SYSTEM": "/dev/null",
            **{f"GIT_{role}_{field}": value for role in ("AUTHOR", "COMMITTER")
               for field, value in (("NAME", "a"), ("EMAIL", "a@example.org"))}}


def git(directory: pathlib.Path, *arguments: str) -> str:
    return subprocess.run(["git", "-C", directory, *arguments], env={**os.environ, **IDENTITY}, check=True,
                          capture_output=True, text=True).stdout.strip()


def commit(directory: pathlib.Path) -> None:
    git(directory, "add", "-A")
    git(directory, "commit", "-q", "-m", "Text")


@pytest.fixture(name="checkout")
def fixture_checkout(tmp_path: pathlib.Path) -> pathlib.Path:
    root = tmp_path / "checkout"
    for name in NEEDED:
        source = PROJECT / name
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        if source.is_dir():
            shutil.copytree(source, root / name)
        else:
            shutil.copy(source, root / name)
    (root / ".gitignore").write_text("/build/\n", encoding="utf-8")
    git(root.parent, "init", "-q", str(root))
    commit(root)
    return root


def release(checkout: pathlib.Path, *arguments: str, umask: int = 0o022, **variables: str
            ) -> subprocess.CompletedProcess[str]:
    return subprocess.run([checkout / "script/release", *arguments], capture_output=True, text=True, check=False,
                          umask=umask, env={**os.environ, **IDENTITY, **variables})


def tarball(checkout: pathlib.Path) -> pathlib.Path:
    [path] = (checkout / "build/offer").glob("*.tar.xz")
    return path


def test_package_asks_for_the_tarball_that_is_offered(checkout):
    done = release(checkout)

    assert (done.returncode, done.stderr) == (0, "")
    offered = (checkout / "build/offer/zephran/Makefile").read_text(encoding="utf-8")
    version = re.search(r"^PKG_VERSION:=(.*)$", offered, re.MULTILINE)[1]
    assert tarball(checkout).name == f"zephran-{version}.tar.xz"
    assert re.findall(r"^PKG_HASH:=(.*)$", offered, re.MULTILINE) == [
        hashlib.sha256(tarball(checkout).read_bytes()).hexdigest()]
    assert "PKG_SOURCE:=zephran-$(PKG_VERSION).tar.xz\n" in offered


def test_page_is_a_package_beside_it(checkout):
    for _ in ("made", "replaced"):
        assert release(checkout).returncode == 0

    offered, source = checkout / "build/offer" / PAGE, checkout / "packaging/openwrt" / PAGE
    files = sorted(path.relative_to(source) for path in source.rglob("*") if path.is_file())
    assert files == sorted(path.relative_to(offered) for path in offered.rglob("*") if path.is_file())
    assert all((offered / name).read_bytes() == (source / name).read_bytes() for name in files)


def test_package_is_complete_and_differs_in_the_sum_only(checkout):
    release(checkout)

    offered, source = checkout / "build/offer/zephran", checkout / "packaging/openwrt"
    names = sorted(path.relative_to(source) for path in source.rglob("*") if PAGE not in path.parts)
    assert sorted(path.relative_to(offered) for path in offered.rglob("*")) == names
    differing = [str(name) for name in names if (source / name).is_file()
                 and (source / name).read_bytes() != (offered / name).read_bytes()]
    assert differing == ["Makefile"]
    assert os.access(offered / "files/zephran.init", os.X_OK) == os.access(source / "files/zephran.init", os.X_OK)


def test_same_commit_gives_the_same_bytes(checkout, tmp_path):
    other = tmp_path / "somewhere else"
    git(tmp_path, "clone", "-q", str(checkout), str(other))
    settings = tmp_path / "settings"
    settings.write_text("[tar]\n\tumask = 0077\n[core]\n\tautocrlf = true\n", encoding="utf-8")

    assert release(checkout).returncode == 0
    assert release(other, umask=0o077, GIT_CONFIG_GLOBAL=os.fspath(settings), XZ_DEFAULTS="-9e -T4", XZ_OPT="-0",
                   TZ="Asia/Tokyo", LC_ALL="C.UTF-8").returncode == 0

    assert tarball(checkout).read_bytes() == tarball(other).read_bytes()
    again = tarball(checkout).read_bytes()
    assert release(checkout).returncode == 0
    assert tarball(checkout).read_bytes() == again


def test_another_commit_gives_other_bytes(checkout):
    release(checkout)
    before = tarball(checkout).read_bytes()
    (checkout / "LICENSE").write_text("other", encoding="utf-8")
    commit(checkout)

    release(checkout)

    assert tarball(checkout).read_bytes() != before


def test_tarball_holds_the_commit_below_its_name(checkout):
    (checkout / "LICENSE").write_text("not committed", encoding="utf-8")
    (checkout / "new").touch()

    assert release(checkout).returncode == 0

    with tarfile.open(tarball(checkout)) as archive:
        members = archive.getmembers()
        licence = next(member for member in members if member.name.endswith("/LICENSE"))
        assert archive.extractfile(licence).read() == (PROJECT / "LICENSE").read_bytes()
    top = tarball(checkout).name.removesuffix(".tar.xz")
    assert {member.name.split("/")[0] for member in members} == {top}
    files = {member.name.partition("/")[2] for member in members if member.isfile()}
    assert files == set(git(checkout, "ls-files").splitlines())
    assert {(member.uid, member.gid, member.mtime) for member in members} == {
        (0, 0, int(git(checkout, "show", "-s", "--format=%ct")))}


def test_earlier_commit_can_be_offered(checkout, tmp_path):
    first = git(checkout, "rev-parse", "HEAD")
    release(checkout)
    expected = tarball(checkout).read_bytes()
    (checkout / "LICENSE").write_text("other", encoding="utf-8")
    commit(checkout)

    assert release(checkout, "--output", os.fspath(tmp_path / "out"), first).returncode == 0

    [path] = (tmp_path / "out").glob("*.tar.xz")
    assert path.read_bytes() == expected


def test_two_versions_are_an_error(checkout):
    makefile = checkout / "packaging/openwrt/Makefile"
    makefile.write_text(makefile.read_text(encoding="utf-8").replace("PKG_VERSION:=", "PKG_VERSION:=9"),
                        encoding="utf-8")
    commit(checkout)

    done = release(checkout)

    assert done.returncode == 1
    assert re.match(r"Error: CMakeLists.txt has version '[\d.]+', packaging/openwrt/Makefile has '9[\d.]+'",
                    done.stderr)
    assert not (checkout / "build/offer").exists()


@pytest.mark.parametrize("arguments", [["no-such-commit"], ["--no-such-option"]])
def test_wrong_argument_is_an_error(checkout, arguments):
    done = release(checkout, *arguments)

    assert done.returncode == 1
    assert done.stderr.startswith("Error: ")
