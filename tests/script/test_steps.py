# SPDX-License-Identifier: Apache-2.0
"""script/verify and .ci/run, with stand-ins for the scripts that they call."""
from __future__ import annotations

import os
import pathlib
import shutil
import signal
import subprocess
import time

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
# Notes its call, prints the text for the tests it stands for, and fails if a file named FAIL says so.
STAND_IN = """#!/bin/bash
cd "$(dirname "$0")/.."
echo "$(basename "$0") $*" >>../calls
case "$(basename "$0") $*" in
    "test "*) echo "== summary"; echo "unit   ok   100% tests passed, 0 tests failed out of 12" ;;
    "acceptance "*) echo "== the jar is missing"; exit 77 ;;
    "openwrt-libraries "*) [ -e ../openwrt ] || { echo "== set OPENWRT_SOURCES"; exit 77; } ;;
esac
! grep -qxF -- "$(basename "$0") $*" ../fail
"""


def git(project, *arguments):
    subprocess.run(["git", "-c", "user.name=T", "-c", "user.email=t@example.org", *arguments],
                   cwd=project, check=True, capture_output=True)


def commit(project):
    git(project, "commit", "-q", "--allow-empty", "-m", "change")


@pytest.fixture
def project(tmp_path):
    """A project of one commit with the real scripts under test and stand-ins for the others."""
    root = tmp_path / "project"
    for name in ("script/lib/common.sh", "script/lib/steps.sh", "script/verify", ".ci/run", ".gitignore"):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROJECT / name, root / name)
    for name in ("bootstrap", "build", "test", "lint", "acceptance", "size", "openwrt-libraries", "compilers",
                 "prove", "fleet", "fuzz"):
        (root / "script" / name).write_text(STAND_IN, encoding="utf-8")
        (root / "script" / name).chmod(0o755)
    (tmp_path / "fail").touch()
    git(root, "init", "-q")
    git(root, "add", ".")
    commit(root)
    return root


def fail(project, call):
    (project.parent / "fail").write_text(call + "\n", encoding="utf-8")


def run(project, *command):
    return subprocess.run(command, cwd=project, capture_output=True, text=True, check=False)


def calls(project):
    """The calls of stand-ins since the last time."""
    path = project.parent / "calls"
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    path.unlink(missing_ok=True)
    return lines


def table(done):
    """The rows of the closing table by the name of the step: result and text."""
    rows = [line.strip("| ").split("|") for line in done.stdout.splitlines() if line.startswith("| ")]
    return {row[0].strip(): (row[1].strip(), row[3].strip()) for row in rows[1:]}


def listed(project):
    return [line.split()[0] for line in run(project, "script/verify", "--list").stdout.splitlines()]


def is_running(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    return True


def wait_until(condition):
    deadline = time.monotonic() + 30
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.05)


def test_each_step_is_listed_with_a_description(project):
    lines = run(project, "script/verify", "--list").stdout.splitlines()

    assert len(lines) > 10
    assert all(len(line.split()) > 2 for line in lines)


def test_all_steps_run_and_end_in_the_table(project):
    done = run(project, "script/verify")

    assert done.returncode == 0, done.stdout + done.stderr
    rows = table(done)
    assert list(rows) == listed(project)
    assert rows["unit-asan"] == ("ok", "unit 100% tests passed, 0 tests failed out of 12")
    assert rows["lint"] == ("ok", "-")
    assert {f"test --preset {preset} --no-build --jobs 24 --only devkit --only daemon"
            for preset in ("debug", "asan", "tsan", "armhf", "musl")} <= set(calls(project))


def test_fuzz_targets_run_shorter_before_a_merge(project):
    run(project, "script/verify", "fuzzing")
    assert "fuzz --seconds 30" in calls(project)

    run(project, ".ci/run")
    assert "fuzz --seconds 10" in calls(project)


@pytest.mark.parametrize("step, reason", [("acceptance-hawkbit", "the jar is missing"),
                                          ("openwrt-libraries", "set OPENWRT_SOURCES")])
def test_step_with_a_missing_prerequisite_is_skipped_with_its_reason(project, step, reason):
    done = run(project, "script/verify", step)

    assert done.returncode == 0
    assert table(done) == {step: ("skipped", reason)}
    assert not [call for call in calls(project) if call.startswith("test ")]


def test_openwrt_libraries_serve_all_tests_that_use_the_stand_ins(project):
    (project.parent / "openwrt").touch()

    done = run(project, "script/verify", "openwrt-libraries")

    assert table(done)["openwrt-libraries"][0] == "ok"
    made = calls(project)
    assert "build openwrt -DCMAKE_COMPILE_WARNING_AS_ERROR=ON" in made
    assert "test --preset openwrt --no-build --jobs 24 --only unit --only devkit --only daemon" in made


@pytest.mark.parametrize("step, call", [
    ("lint", "lint "),
    ("packaging", "test --preset debug --no-build --jobs 24 --only packaging"),
])
def test_failed_step_fails_the_run_and_lets_the_others_go_on(project, step, call):
    fail(project, call)

    done = run(project, "script/verify", "bootstrap", "lint", "packaging")

    assert done.returncode == 1
    assert {name: row[0] for name, row in table(done).items()} == {
        "bootstrap": "ok", "lint": "ok", "packaging": "ok"} | {step: "FAILED"}


def test_log_of_a_failed_step_in_the_background_is_shown(project):
    fail(project, "test --preset debug --no-build --jobs 24 --only packaging")

    assert "== log of packaging\n== summary" in run(project, "script/verify", "packaging").stdout


def test_step_that_cannot_be_built_fails_without_its_tests(project):
    fail(project, "build asan -DCMAKE_COMPILE_WARNING_AS_ERROR=OFF")

    done = run(project, "script/verify", "unit-asan")

    assert done.returncode == 1
    assert table(done) == {"unit-asan": ("FAILED", "exit status 1")}
    assert calls(project) == ["build asan -DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"]


def test_resumed_run_repeats_only_what_has_not_passed_for_this_commit(project):
    fail(project, "lint ")
    run(project, "script/verify", "bootstrap", "lint")
    fail(project, "")
    calls(project)

    done = run(project, "script/verify", "--resume", "bootstrap", "lint", "clang")

    assert done.returncode == 0
    assert [call.split()[0] for call in calls(project)] == ["build", "lint"]
    assert {name: row[0] for name, row in table(done).items()} == {"bootstrap": "ok", "lint": "ok", "clang": "ok"}


def test_result_of_another_commit_is_not_kept(project):
    run(project, "script/verify", "lint")
    commit(project)
    calls(project)

    run(project, "script/verify", "--resume", "lint")

    assert calls(project) == ["lint "]


def test_result_of_a_changed_tree_is_not_kept(project):
    (project / "new.txt").touch()
    first = run(project, "script/verify", "lint")
    calls(project)

    run(project, "script/verify", "--resume", "lint")

    assert "with changes" in first.stdout
    assert calls(project) == ["lint "]


def test_interrupted_run_ends_its_steps_in_the_background(project):
    waiting = project.parent / "waiting"
    (project / "script/test").write_text(f"#!/bin/bash\necho $$ >{waiting}\nsleep 300\n", encoding="utf-8")
    with subprocess.Popen(["script/verify", "packaging"], cwd=project, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL) as verify:
        wait_until(lambda: waiting.exists() and waiting.read_text(encoding="utf-8").endswith("\n"))
        test = int(waiting.read_text(encoding="utf-8"))
        verify.send_signal(signal.SIGTERM)
        verify.wait(timeout=30)

    wait_until(lambda: not is_running(test))


def test_unknown_step_is_refused(project):
    done = run(project, "script/verify", "nothing")

    assert done.returncode == 1
    assert "no step named nothing" in done.stderr
    assert calls(project) == []


def test_sanitizer_for_the_daemon_alternates_with_the_number_of_commits(project):
    odd = table(run(project, ".ci/run"))
    commit(project)
    even = table(run(project, ".ci/run"))

    assert "daemon-tsan" in odd
    assert "daemon-asan" not in odd
    assert "daemon-asan" in even
    assert "daemon-tsan" not in even
    for rows in (odd, even):
        assert {"daemon-debug", "unit-debug", "unit-asan", "unit-tsan", "unit-armhf", "packaging", "acceptance",
                "lint"} <= set(rows)


def test_sanitizer_for_the_daemon_can_be_chosen(project):
    done = run(project, ".ci/run", "--sanitizer", "asan")

    assert "the tests of the daemon run on debug and asan" in done.stdout
    assert "daemon-asan" in table(done)
    assert run(project, ".ci/run", "--sanitizer", "none").returncode == 1
