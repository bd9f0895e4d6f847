# SPDX-License-Identifier: Apache-2.0
"""The number that a closing report carries when the option report_codes is on."""
import pytest

from hawkbit_server import Code, Status, Text


def code_of(exchange):
    return exchange.json()["status"].get("code")


def failed_with(bench, *modules):
    """Carries a deployment out that must fail, and returns the code of its one closing report."""
    bench.configure("service.report_codes", "1")
    action = bench.assign(*modules)
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    *earlier, last = bench.exchanges("feedback")
    assert {code_of(each) for each in earlier} <= {None}
    assert action.entries[-1].messages[-1] == f"Device reported status code: {code_of(last)}"
    assert bench.server.find_by_status_code(code_of(last)) == [action]
    return code_of(last)


@pytest.mark.parametrize("script, code", [
    ("exit 3", 2003), ("exit 137", 3009), ("kill -SEGV $$", 3011)], ids=["exit", "told by a shell", "signal"])
def test_failed_script_tells_how_it_ended(bench, script, code):
    assert failed_with(bench, bench.script("one", script)) == code


def test_missing_artifact_tells_the_http_status(bench):
    bench.server.order("artifact", Code(404), times=None)

    assert failed_with(bench, bench.script("one", "true")) == 404


def test_wrong_artifact_is_a_checksum(bench):
    bench.server.order("artifact", Text("other", content_type="application/octet-stream"), times=None)

    assert failed_with(bench, bench.script("one", "true")) == 4001


def test_unsafe_name_and_unknown_part_have_their_own(bench):
    assert failed_with(bench, bench.module("script", "one", "1", {"../one.sh": b"#!/bin/sh\n"})) == 4003


def test_part_that_nothing_installs_has_its_own(bench):
    assert failed_with(bench, bench.module("toaster", "one", "1", {"one.bin": b"x"})) == 4004


def test_failed_package_tells_the_status_of_the_package_manager(bench):
    bench.gateway.tell("opkg", exit=7)

    assert failed_with(bench, bench.module("opkg", "one", "1", {"one.ipk": b"x"})) == 2007


def test_success_has_no_code(bench):
    bench.configure("service.report_codes", "1")
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert {code_of(each) for each in bench.exchanges("feedback")} == {None}


@pytest.mark.differs("codes")
def test_without_the_option_there_is_no_code(bench):
    action = bench.assign(bench.script("one", "exit 3"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert all("code" not in each.json()["status"] for each in bench.exchanges("feedback"))
