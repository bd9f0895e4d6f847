# SPDX-License-Identifier: Apache-2.0
"""The answers of each resource: values, refusals and their bodies."""

from __future__ import annotations

from urllib.parse import quote

import pytest
from throwaway_device import Device, artifact_path

from hawkbit_server import Action, Status, UpdateServer

NOT_READABLE = "hawkbit.server.error.rest.body.notReadable"


def test_poll_registers_an_unknown_target(server: UpdateServer, device: Device) -> None:
    document = device.get().json()

    assert document["config"]["polling"]["sleep"] == "00:05:00"
    assert list(document["_links"]) == ["configData"]
    assert server.target("gw-1").update_status == "registered"


def test_links_follow_the_proxy_only_when_the_server_was_told_to(server: UpdateServer, device: Device) -> None:
    forwarded = {"X_Forwarded_Proto": "https", "X_Forwarded_Host": "gw.example:8443"}

    own = device.get(**forwarded).json()["_links"]["configData"]["href"]
    server.settings.forwarded_headers = True
    given = device.get(**forwarded).json()["_links"]["configData"]["href"]

    path = "/DEFAULT/controller/v1/gw-1/configData"
    assert own == server.url + path
    assert given == "https://gw.example:8443" + path


def test_settings_decide_the_polling_time(server: UpdateServer, device: Device) -> None:
    server.settings.poll = "00:00:07"

    assert device.get().json()["config"]["polling"]["sleep"] == "00:00:07"
    with pytest.raises(ValueError, match="is not HH:MM:SS"):
        server.settings.poll = "7"


@pytest.mark.parametrize("target", ["00:13:9d:00:00:01", "gr\u00fcn", "a+b", "x" * 128])
def test_links_repeat_the_target_escaped(server: UpdateServer, target: str) -> None:
    device = Device(server, quote(target, safe=""))

    href = device.get().json()["_links"]["configData"]["href"]

    assert href == f"{server.url}/DEFAULT/controller/v1/{quote(target, safe='')}/configData"
    assert list(server.store.targets) == [target]


def test_links_repeat_the_tenant_as_written(server: UpdateServer) -> None:
    device = Device(server, "gw-1")

    href = device.get("/default/controller/v1/gw-1").json()["_links"]["configData"]["href"]

    assert href == f"{server.url}/default/controller/v1/gw-1/configData"


@pytest.mark.parametrize("target", ["a%20b", "x" * 129, "a%25b", "a%2Fb", "a%5Cb", "a;b", "a%3Bb", "%FF", "a%0Ab"])
def test_bad_target_is_refused(server: UpdateServer, target: str) -> None:
    assert Device(server, target).get().status == 400
    assert server.store.targets == {}


@pytest.mark.parametrize("path", ["//DEFAULT/controller/v1/gw-1", "/DEFAULT//controller/v1/gw-1",
                                  "/DEFAULT/controller/v1/../v1/gw-1", "/DEFAULT/controller/v1/gw{1}"])
def test_firewall_refuses_the_path(device: Device, path: str) -> None:
    assert device.get(path).status == 400


@pytest.mark.parametrize("path", ["/", "/DEFAULT", "/DEFAULT/controller/v1/gw-1/unknown",
                                  "/DEFAULT/controller/v1/gw-1/", "/DEFAULT/controller/v1/gw-1/deploymentBase"])
def test_unknown_path(device: Device, path: str) -> None:
    assert device.get(path).status == 404


@pytest.mark.parametrize("accept, status, media", [
    ("*/*", 200, "application/hal+json"), ("application/json", 200, "application/json"),
    ("application/*", 200, "application/hal+json"), ("application/json;q=0.5, */*;q=0.1", 200, "application/json"),
    ("text/html", 406, "text/html"), ("application/json;q=0", 406, "text/html")])
def test_content_negotiation(device: Device, accept: str, status: int, media: str) -> None:
    answer = device.get(Accept=accept)

    assert (answer.status, answer.headers["content-type"]) == (status, f"{media};charset=UTF-8")


@pytest.mark.parametrize("content_type", ["text/plain", "application/hal+json", "application/x-www-form-urlencoded"])
def test_body_of_another_type_is_refused(device: Device, action: Action, content_type: str) -> None:
    path = f"deploymentBase/{action.id}/feedback"

    assert device.send("POST", path, b"{}", Content_Type=content_type).status == 415
    assert device.send("PUT", "configData", b"{}", Content_Type=content_type).status == 415


@pytest.mark.parametrize("method, path", [
    ("POST", ""), ("DELETE", ""), ("POST", "configData"), ("GET", "configData"), ("PUT", "deploymentBase/1/feedback"),
    ("GET", "deploymentBase/1/feedback"), ("POST", "deploymentBase/1"), ("POST", "cancelAction/1")])
def test_wrong_method(device: Device, action: Action, method: str, path: str) -> None:
    answer = device.send(method, path, None if method == "GET" else {})

    assert (answer.status, answer.json()["status"]) == (405, 405)


@pytest.mark.parametrize("path", ["deploymentBase/x", "deploymentBase/1?c=x", "deploymentBase/1?actionHistory=ten",
                                  "cancelAction/x", "deploymentBase/1.0", "softwaremodules/x/artifacts/a.sh"])
def test_invalid_number_in_the_path_or_query_is_refused(device: Device, action: Action, path: str) -> None:
    answer = device.get(path)

    assert (answer.status, answer.json()["errorCode"]) == (400, NOT_READABLE)


def test_unknown_target_has_no_resources(server: UpdateServer, action: Action) -> None:
    stranger = Device(server, "nobody")

    assert stranger.get(f"deploymentBase/{action.id}").status == 404
    assert stranger.send("PUT", "configData", {"data": {"a": "1"}}).status == 404
    assert stranger.report(action.id, "closed", "success").status == 404
    assert list(server.store.targets) == ["gw-1"]


def test_action_of_another_target_is_unknown(server: UpdateServer, action: Action) -> None:
    other = Device(server, "gw-2")
    other.get()

    assert other.get(f"deploymentBase/{action.id}").status == 404
    assert other.report(action.id, "closed", "success").status == 404
    assert other.get(artifact_path(action)).status == 404
    assert action.active


def test_extra_query_parameters_are_ignored(device: Device, action: Action) -> None:
    assert device.get(f"deploymentBase/{action.id}?c=-12&x=y&actionHistory=-1").status == 200
    answer = device.send("POST", f"deploymentBase/{action.id}/feedback?c=-12",
                         {"status": {"execution": "proceeding", "result": {"finished": "none"}}})
    assert (answer.status, answer.body, answer.headers["content-length"]) == (200, b"", "0")


def test_unchanged_document_is_not_sent_again(device: Device) -> None:
    first = device.get()

    again = device.get(If_None_Match=first.headers["etag"])

    assert (again.status, again.body) == (304, b"")
    assert device.get(If_None_Match='"other"').status == 200


@pytest.mark.parametrize("execution, finished, entry, status, active", [
    ("closed", "success", "finished", "finished", False), ("closed", "none", "finished", "finished", False),
    ("closed", "failure", "error", "error", False), ("proceeding", "none", "running", "retrieved", True),
    ("scheduled", "none", "running", "retrieved", True), ("resumed", "failure", "running", "retrieved", True),
    ("canceled", "success", "canceled", "retrieved", True), ("rejected", "none", "warning", "retrieved", True),
    ("download", "none", "download", "retrieved", True), ("downloaded", "none", "downloaded", "retrieved", True)])
def test_effect_of_a_deployment_feedback(device: Device, action: Action, execution: str, finished: str, entry: str,
                                         status: str, active: bool) -> None:
    device.get(f"deploymentBase/{action.id}")

    answer = device.report(action.id, execution, finished, "text")

    assert answer.status == 200
    assert (action.entries[-1].type.value, action.entries[-1].messages) == (entry, ("text",))
    assert (action.status.value, action.active) == (status, active)
    assert device.report(action.id, execution, finished).status == (200 if active else 410)


@pytest.mark.parametrize("execution, finished, entry, status, active", [
    ("closed", "success", "canceled", "canceled", False), ("closed", "none", "canceled", "canceled", False),
    ("closed", "failure", "error", "running", True), ("rejected", "none", "cancel_rejected", "running", True),
    ("canceled", "success", "warning", "canceling", True), ("proceeding", "none", "running", "canceling", True),
    ("downloaded", "none", "running", "canceling", True)])
def test_effect_of_a_cancel_feedback(server: UpdateServer, device: Device, action: Action, execution: str,
                                     finished: str, entry: str, status: str, active: bool) -> None:
    server.cancel(action)

    assert device.report(action.id, execution, finished, "text", cancel=True).status == 200

    assert action.entries[-1].type.value == entry
    assert "text" in action.entries[-1].messages
    assert (action.status.value, action.active) == (status, active)


def test_download_only_action_ends_with_downloaded(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [server.software_module("script", "a", "1")], "downloadonly")
    deployment = device.get(f"deploymentBase/{action.id}").json()["deployment"]

    assert (deployment["download"], deployment["update"]) == ("forced", "skip")
    assert device.report(action.id, "downloaded", "success").status == 200
    assert (action.status, action.active) == (Status.DOWNLOADED, False)
    assert list(device.get().json()["_links"]) == ["configData"]


@pytest.mark.parametrize("details, status", [
    (["x" * 512] * 50, 200), (["x"] * 51, 403), (["x" * 25600], 200), (["x" * 25601], 403),
    (["\U0001f600" * 256 * 50], 200), (["\U0001f600" * 256 * 50, "x"], 403)])
@pytest.mark.parametrize("execution", ["proceeding", "closed"])
def test_at_most_fifty_pieces_are_accepted(device: Device, action: Action, execution: str, details: list[str],
                                           status: int) -> None:
    before = len(action.entries)

    answer = device.report(action.id, execution, "failure", *details)

    assert answer.status == status
    if status == 403:
        assert answer.json()["errorCode"] == "hawkbit.server.error.quota.tooManyEntries"
        assert (len(action.entries), action.active) == (before, True)


def test_at_most_a_thousand_entries_are_accepted_besides_the_closing_one(device: Device, action: Action) -> None:
    while len(action.entries) < 1000:
        assert device.report(action.id, "proceeding", "none", "x").status == 200

    assert device.report(action.id, "proceeding", "none", "x").status == 403
    assert device.get(artifact_path(action)).status == 403
    assert device.report(action.id, "closed", "success", "x").status == 200


def test_markup_in_one_detail_refuses_the_whole_feedback(server: UpdateServer, device: Device, action: Action) -> None:
    before = len(action.entries)

    refused = device.report(action.id, "closed", "failure", "fine", "a <b> c")

    assert refused.status == 400
    assert refused.json()["message"].startswith("addUpdateActionStatus.create.messages[1].")
    assert (len(action.entries), action.active) == (before, True)
    server.cancel(action)
    assert device.report(action.id, "closed", "success", "<b>", cancel=True).status == 400
    assert action.status is Status.CANCELING


def test_status_code_becomes_a_message(server: UpdateServer, device: Device, action: Action) -> None:
    device.report(action.id, "proceeding", "none", "text", code=7)

    assert device.history(action.id)["messages"][:2] == ["text", "Device reported status code: 7"]
    assert server.find_by_status_code(7) == [action]
    assert server.find_by_status_code(8) == []


def test_reading_a_closed_action_spoils_its_record(device: Device, action: Action) -> None:
    device.get(f"deploymentBase/{action.id}")
    device.report(action.id, "closed", "success", "done")
    assert not action.spoilt

    assert device.history(action.id)["status"] == "FINISHED"

    assert action.spoilt
    assert (action.status, action.active) == (Status.RETRIEVED, False)
    assert device.history(action.id)["status"] == "RETRIEVED"
    assert device.get(artifact_path(action)).status == 404


def test_attributes_are_requested_again_only_after_a_success(server: UpdateServer, device: Device) -> None:
    def wanted() -> bool:
        return "configData" in device.get().json().get("_links", {})

    device.get()
    device.send("PUT", "configData", {"data": {"a": "1"}, "mode": "replace"})
    assert not wanted()
    failed = server.assign("gw-1", [server.software_module("script", "a", "1")])
    device.report(failed.id, "closed", "failure")
    assert not wanted()
    worked = server.assign("gw-1", [server.software_module("script", "a", "2")])
    device.report(worked.id, "closed", "success")
    assert wanted()
    device.send("PUT", "configData", {"data": {"a": "1"}, "mode": "remove"})
    assert wanted()
    device.send("PUT", "configData", {"data": {"a": "b~c"}})
    assert wanted()
    assert server.target("gw-1").attributes == {}


def test_authorization_is_required_when_set(server: UpdateServer, device: Device) -> None:
    server.settings.authorization = "GatewayToken key"

    refused = device.get()

    assert (refused.status, refused.body) == (401, b"")
    assert device.get(Authorization="GatewayToken key").status == 200
