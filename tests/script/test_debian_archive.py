# SPDX-License-Identifier: Apache-2.0
"""script/lib/debian_archive.sh: what is made once into the cache, without the network."""
from __future__ import annotations

import os
import pathlib
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(name="bash")
def fixture_bash(tmp_path):
    """Runs a text in bash after the library was read, with a cache of its own, and returns the finished process."""
    def run(text):
        return subprocess.run(
            ["bash", "-c", f"source script/lib/common.sh; source script/lib/debian_archive.sh; {text}"], cwd=PROJECT,
            env={**os.environ, "XDG_CACHE_HOME": str(tmp_path)}, capture_output=True, text=True, check=False)
    return run


def made(tmp_path):
    return sorted(path.name for path in (tmp_path / "zephran/thing").iterdir())


def test_directory_is_made_once(bash, tmp_path):
    text = 'make() { echo making; touch "$1/part"; }; make_once "$cache_dir/thing" make'

    assert bash(text).stdout == "making\n"
    assert bash(text).stdout == ""
    assert made(tmp_path) == ["complete", "part"]


def test_directory_that_failed_is_made_anew(bash, tmp_path):
    failed = bash('make() { touch "$1/old"; false; touch "$1/later"; }; make_once "$cache_dir/thing" make; echo on')
    assert (failed.returncode, failed.stdout) == (1, "")
    assert made(tmp_path) == ["old"]

    bash('make() { touch "$1/new"; }; make_once "$cache_dir/thing" make')

    assert made(tmp_path) == ["complete", "new"]


def test_another_text_has_another_directory(bash, tmp_path):
    recipe = tmp_path / "recipe"
    names = []
    for text in ("a", "b", "a"):
        recipe.write_text(text, encoding="utf-8")
        names.append(bash(f"cached thing {recipe}").stdout)

    assert names[0] == names[2] != names[1]


def test_absolute_links_point_into_the_tree(bash, tmp_path):
    (tmp_path / "tree/usr/lib").mkdir(parents=True)
    (tmp_path / "tree/lib").mkdir()
    (tmp_path / "tree/lib/libc.so.6").write_text("the tree's own", encoding="utf-8")
    link = tmp_path / "tree/usr/lib/libc.so"
    link.symlink_to("/lib/libc.so.6")

    bash(f"relocate_links {tmp_path}/tree")

    assert os.readlink(link) == "../../lib/libc.so.6"
    assert link.read_text(encoding="utf-8") == "the tree's own"


def test_state_knows_the_other_architecture_and_sources_only_for_itself(bash, tmp_path):
    done = bash(f"archive() {{ :; }}; open_archive {tmp_path}/apt armhf; APT_CONFIG={tmp_path}/apt/apt.conf "
                "apt-config shell a APT::Architecture b Dir::State c Dir::State::Status d Dir::Etc::SourceParts")

    assert done.stdout.splitlines() == [
        "a='armhf'", f"b='{tmp_path}/apt'", f"c='{tmp_path}/apt/status'", f"d='{tmp_path}/apt/sources'"]
    lists = "".join(path.read_text(encoding="utf-8") for path in (tmp_path / "apt/sources").iterdir())
    assert "deb-src" in lists
    assert "Architectures:" not in lists


def test_state_takes_how_to_reach_the_archive_from_the_machine_but_none_of_its_commands(bash, tmp_path, monkeypatch):
    machine = tmp_path / "machine.conf"
    machine.write_text(
        'Acquire::http::Proxy "http://proxy.example:3128";\n'
        'Acquire::https { Proxy "DIRECT"; CaInfo "/own/ca.pem"; };\n'
        'Acquire::Languages { "de"; "en"; };\n'
        'Acquire::IndexTargets::deb::Extra::MetaKey "extra.yml";\n'
        'APT::Update::Pre-Invoke { "false"; };\n'
        'APT::Update::Post-Invoke-Success { "false"; };\n'
        'DPkg::Pre-Install-Pkgs { "false"; };\n', encoding="utf-8")
    monkeypatch.setenv("APT_CONFIG", str(machine))

    lines = bash(f"archive() {{ :; }}; open_archive {tmp_path}/apt armhf; APT_CONFIG={tmp_path}/apt/apt.conf "
                 "apt-config dump --no-empty").stdout.splitlines()

    assert 'Acquire::http::Proxy "http://proxy.example:3128";' in lines
    assert 'Acquire::https::Proxy "DIRECT";' in lines
    assert 'Acquire::https::CaInfo "/own/ca.pem";' in lines
    assert [line.split()[-1] for line in lines if line.startswith("Acquire::Languages")] == ['"none";']
    assert [line for line in lines if "Extra" in line or "-Invoke" in line or "Install-Pkgs" in line] == []
