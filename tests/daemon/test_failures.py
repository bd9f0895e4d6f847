# SPDX-License-Identifier: Apache-2.0
"""Deployments that cannot succeed: one closing report, no files left, ready for the next."""
import pathlib

import pytest

from hawkbit_server import Code, Cut, Drop, Mutate, Status

SCRIPT = "script:one:1.0"


def fails(bench, action):
    """Waits for the end, and returns the details of the only closing report."""
    bench.wait_for_end(action)
    bench.wait_for_exchanges("base", len(bench.exchanges("base")) + 1)
    closing = bench.closing_reports()
    assert action.status is Status.ERROR
    assert len(closing) == 1
    assert closing[0][1] == "failure"
    assert bench.gateway.leftovers() == []
    assert all(each.status == 200 for each in bench.exchanges("feedback"))
    return closing[0][3]


def installs_the_next(bench):
    action = bench.assign(bench.script("next", "echo next"))
    bench.wait_for_end(action)
    return action.status is Status.FINISHED


TRIED_AGAIN = pytest.mark.differs("tries")


@pytest.mark.parametrize("fault, message, record", [
    (Code(404), "HTTP server returned an error code", "404"),
    pytest.param(Code(503), "HTTP server returned an error code", "503", marks=TRIED_AGAIN),
    pytest.param(Drop(), "HTTP request failed", "", marks=TRIED_AGAIN),
    pytest.param(Cut(10), "HTTP request failed", "", marks=TRIED_AGAIN),
], ids=["not found", "unavailable", "dropped", "truncated"])
def test_failed_download_fails_the_deployment(bench, fault, message, record):
    bench.server.order("artifact", fault)
    action = bench.assign(bench.script("one", "touch /tmp/ran"), bench.script("two", "touch /tmp/ran"))
    bench.start()

    details = fails(bench, action)

    assert details[0] == message
    assert record in details[1]
    assert details[2] == SCRIPT
    assert len(bench.server.exchanges("artifact")) == 1
    assert installs_the_next(bench)


def test_failed_download_of_the_second_file_removes_the_first(bench):
    bench.server.order("artifact", Code(404), first=2)
    action = bench.assign(bench.script("one", "echo one"), bench.script("two", "touch /tmp/ran"))
    bench.start()

    details = fails(bench, action)

    assert details[2] == "script:two:1.0"
    assert bench.closing_reports()[0][2] == "1/2"


@pytest.mark.differs("digest")
@pytest.mark.parametrize("md5", ["0" * 32, "0" * 30, "no digits", ""])
def test_wrong_checksum_fails_the_deployment(bench, md5):
    def change(document):
        document["deployment"]["chunks"][0]["artifacts"][0]["hashes"]["md5"] = md5
        return document

    bench.server.order("deploymentBase", Mutate(change), times=None)
    action = bench.assign(bench.script("one", "touch /tmp/ran"))
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Failed to verify artifact"
    assert details[2] == SCRIPT


def test_failing_script_fails_the_deployment(bench):
    action = bench.assign(bench.script("one", "echo it broke; exit 3"),
                          bench.script("two", "touch /tmp/ran"))
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Script returned an error"
    assert "it broke" in details[1]
    assert "3" in details[1]
    assert details[2] == SCRIPT
    assert len(bench.exchanges("artifact")) == 1
    assert installs_the_next(bench)


def test_killed_script_fails_the_deployment(bench):
    action = bench.assign(bench.script("one", "echo before; kill -9 $$"))
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Program terminated abnormally"
    assert "before" in details[1]
    assert "9" in details[1]


def test_script_without_a_file_fails(bench):
    action = bench.assign(bench.server.software_module("script", "one", "1.0"))
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Found unexpected number of artifacts"
    assert details[2] == SCRIPT


def test_part_without_an_installer_fails(bench):
    action = bench.assign(bench.server.software_module("toaster", "one", "1.0", {"a.bin": b"x"}))
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Unsupported part in deployment"
    assert details[2] == "toaster:one:1.0"


@pytest.mark.parametrize("name", [
    "../zephran-escape.sh", "sub/zephran.sh", "/zephran-escape.sh", "-rf", ".hidden", "$(touch ran).sh",
    "a;touch ran", "a b.sh", "line\nend.sh", "'quoted'.sh", "größe.sh", "..", "a|b", "a&b"])
def test_unsafe_file_name_is_refused_before_the_download(bench, name):
    module = bench.server.software_module("script", "one", "1.0", {name: b"#!/bin/sh\ntouch /tmp/ran\n"})
    action = bench.assign(module)
    bench.start()

    details = fails(bench, action)

    assert details[0] == "Artifact file name is not safe to use"
    assert details[2] == SCRIPT
    assert bench.exchanges("artifact") == []
    assert not pathlib.Path("/zephran-escape.sh").exists()


@pytest.mark.parametrize("name", ["a.sh", "A-1_b+c~d=e@f,g%h:i.sh"])
def test_safe_file_names_are_accepted(bench, name):
    # The server itself refuses an escaped percent sign in a path.
    name = name.replace("%h", "h")
    module = bench.server.software_module("script", "one", "1.0", {name: b"#!/bin/sh\necho ran\n"})
    action = bench.assign(module)
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.reports()[1][3][2] == "ran\n"


@pytest.mark.differs("free-space")
def test_full_disk_fails_the_deployment_but_not_the_daemon(make_bench):
    # A thread sanitizer needs some of it.
    bench = make_bench(tmp_size="2m")
    action = bench.assign(bench.server.software_module(
        "script", "one", "1.0", {"big.sh": b"#!/bin/sh\ntouch /tmp/ran\n" + b"#" * 4000000}))
    bench.start()

    details = fails(bench, action)

    assert details[0] in ("Failed to verify artifact", "Failed to write to file")
    assert installs_the_next(bench)
