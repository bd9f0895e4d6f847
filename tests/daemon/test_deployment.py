# SPDX-License-Identifier: Apache-2.0
"""A deployment from its offer to its end, as the server sees it."""
import re

import pytest

from hawkbit_server import Status

TIME = re.compile(r"^\d{8}T\d{6}$")


def without_time(document):
    document = dict(document)
    assert TIME.match(document.pop("time"))
    return document


def report(action, execution, result, count, of, *details):
    return {"id": str(action.id),
            "status": {"execution": execution, "details": list(details),
                       "result": {"finished": result, "progress": {"count": count, "of": of}}}}


def test_forced_deployment_of_two_scripts(bench):
    action = bench.assign(bench.script("one", "echo first >/tmp/state-one; echo did one"),
                          bench.script("two", "cat /tmp/state-one; rm /tmp/state-one"))
    daemon = bench.start()

    bench.wait_for_end(action)
    bench.wait_for_exchanges("configData", 2)

    conversation = [each.kind for each in bench.exchanges() if each.kind != "base"]
    assert conversation == ["configData", "deploymentBase",
                            "artifact", "feedback", "feedback",
                            "artifact", "feedback", "feedback", "feedback", "configData"]
    assert [without_time(each.json()) for each in bench.exchanges("feedback")] == [
        report(action, "proceeding", "none", 0, 2, "Installation started", "script:one:1.0"),
        report(action, "proceeding", "none", 1, 2, "Chunk deployed", "script:one:1.0", "did one\n"),
        report(action, "proceeding", "none", 1, 2, "Installation started", "script:two:1.0"),
        report(action, "proceeding", "none", 2, 2, "Chunk deployed", "script:two:1.0", "first\n"),
        report(action, "closed", "success", 2, 2, "Deployment successful"),
    ]
    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert bench.gateway.leftovers() == []
    assert " ERROR " not in daemon.log


def test_requests_follow_the_interface(bench):
    action = bench.assign(bench.script("one", "exit 0"))
    bench.start()

    bench.wait_for_end(action)

    base, config_data, deployment, artifact, feedback = (
        bench.exchanges(kind)[0]
        for kind in ("base", "configData", "deploymentBase", "artifact", "feedback"))
    root = "/DEFAULT/controller/v1/gw-1"
    assert (base.method, base.path, base.query) == ("GET", root, "")
    assert (config_data.method, config_data.path) == ("PUT", root + "/configData")
    assert (deployment.method, deployment.path) == ("GET", f"{root}/deploymentBase/{action.id}")
    assert deployment.query == "actionHistory=10"
    assert artifact.method == "GET"
    assert (feedback.method, feedback.path) == (
        "POST", f"{root}/deploymentBase/{action.id}/feedback")
    for sent in (config_data, feedback):
        assert sent.headers["content-type"] == "application/json"


def test_silent_script_reports_two_details(bench):
    action = bench.assign(bench.script("one", "exit 0"))
    bench.start()

    bench.wait_for_end(action)

    assert [details for *_, details in bench.reports()] == [
        ["Installation started", "script:one:1.0"], ["Chunk deployed", "script:one:1.0"],
        ["Deployment successful"]]


@pytest.mark.differs("download-directory")
def test_only_the_first_file_of_a_script_chunk_is_run(bench):
    module = bench.server.software_module("script", "pair", "1", {
        "main.sh": b"#!/bin/sh\ncat /tmp/data.txt\n", "data.txt": b"from the second file"})
    action = bench.assign(module)
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.reports()[1][3] == ["Chunk deployed", "script:pair:1", "from the second file"]
    assert bench.gateway.leftovers() == []


def test_download_link_is_preferred_to_download_http(make_bench):
    bench = make_bench(link_names=("download", "md5sum", "download-http", "md5sum-http"))
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert len(bench.exchanges("artifact")) == 1


def test_second_deployment_follows_the_first(bench):
    first = bench.assign(bench.script("one", "echo one"))
    bench.start()
    bench.wait_for_end(first)
    second = bench.assign(bench.script("two", "echo two"))

    bench.wait_for_end(second)

    assert (first.status, second.status) == (Status.FINISHED, Status.FINISHED)
    assert not first.spoilt
    reported = [each.path.split("/")[-2] for each in bench.exchanges("feedback")]
    assert reported == [str(first.id)] * 3 + [str(second.id)] * 3
