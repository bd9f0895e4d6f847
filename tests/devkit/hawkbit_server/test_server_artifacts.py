# SPDX-License-Identifier: Apache-2.0
"""Downloads, their links, and how connections are served."""

from __future__ import annotations

import hashlib
import socket
import threading

import pytest
from throwaway_device import SCRIPT, Device, artifact_path

from hawkbit_server import Action, OperatorError, Status, UpdateServer


def test_artifact_comes_with_its_hashes(device: Device, action: Action) -> None:
    answer = device.get(artifact_path(action))
    md5sum = device.get(artifact_path(action, ".MD5SUM"))

    assert answer.body == SCRIPT
    assert answer.headers["etag"] == hashlib.sha1(SCRIPT).hexdigest()
    assert md5sum.body.decode() == f"{hashlib.md5(SCRIPT).hexdigest()}  a.sh"
    assert [entry.type for entry in action.entries[1:]] == [Status.DOWNLOAD] * 2


def test_links_escape_the_id_of_the_target_but_for_those_of_artifacts(server: UpdateServer) -> None:
    device = Device(server, "00%3A13%3A9d")
    module = server.software_module("script", "hello", "1.0", {"a.sh": SCRIPT})
    action = server.assign("00:13:9d", [module])

    links = device.get().json()["_links"]
    document = device.get(f"deploymentBase/{action.id}").json()
    artifact = document["deployment"]["chunks"][0]["artifacts"][0]["_links"]

    assert all("/controller/v1/00%3A13%3A9d/" in link["href"] for link in links.values())
    assert all("/controller/v1/00:13:9d/" in link["href"] for link in artifact.values())
    address = artifact["download-http"]["href"]
    assert device.get(address[address.index("/DEFAULT"):]).body == SCRIPT


@pytest.mark.parametrize("wanted, status, content_range, body", [
    ("bytes=0-3", 206, "bytes 0-3/21", SCRIPT[:4]), ("bytes=5-", 206, "bytes 5-20/21", SCRIPT[5:]),
    ("bytes=-4", 206, "bytes 17-20/21", SCRIPT[-4:]), ("bytes=0-99", 200, "bytes 0-20/21", SCRIPT),
    ("bytes=0-", 200, "bytes 0-20/21", SCRIPT), ("bytes=20-", 206, "bytes 20-20/21", SCRIPT[-1:]),
    ("bytes=21-", 416, "bytes */21", b""), ("bytes=5-2", 416, "bytes */21", b""),
    ("lines=1-2", 416, "bytes */21", b""), ("bytes=5", 416, "bytes */21", b""),
    ("bytes=-0", 416, "bytes */21", b""), ("bytes=-100", 500, "bytes -79-20/21", b"")])
def test_ranges(device: Device, action: Action, wanted: str, status: int, content_range: str, body: bytes) -> None:
    answer = device.get(artifact_path(action), Range=wanted)

    assert (answer.status, answer.headers["content-range"], answer.body) == (status, content_range, body)
    assert answer.headers["etag"] == hashlib.sha1(SCRIPT).hexdigest()
    assert answer.headers["content-type"] == "application/octet-stream"


@pytest.mark.parametrize("quoted", [False, True], ids=["bare", "quoted"])
def test_if_match_is_compared_with_the_hash_without_quotes(server: UpdateServer, device: Device, action: Action,
                                                           quoted: bool) -> None:
    server.settings.quoted_tags = quoted
    sha1 = hashlib.sha1(SCRIPT).hexdigest()

    statuses = [device.get(artifact_path(action), If_Match=condition).status
                for condition in ("0123", sha1, f'"{sha1}"', f"0123, {sha1}", "*")]

    assert statuses == [412, 200, 412, 200, 200]


@pytest.mark.parametrize("quoted", [False, True], ids=["bare", "quoted"])
def test_if_range_holds_with_the_etag_exactly_as_it_came(server: UpdateServer, device: Device, action: Action,
                                                         quoted: bool) -> None:
    server.settings.quoted_tags = quoted
    sha1 = hashlib.sha1(SCRIPT).hexdigest()
    tags = {True: f'"{sha1}"', False: sha1}

    same = device.get(artifact_path(action), Range="bytes=5-", If_Range=tags[quoted])
    other = device.get(artifact_path(action), Range="bytes=5-", If_Range=tags[not quoted])

    assert same.headers["etag"] == tags[quoted]
    assert (same.status, same.body) == (206, SCRIPT[5:])
    assert (other.status, other.body) == (200, SCRIPT)


def test_if_range_holds_with_the_date_of_the_upload_or_a_later_one(device: Device, action: Action) -> None:
    uploaded = device.get(artifact_path(action)).headers["last-modified"]

    statuses = [device.get(artifact_path(action), Range="bytes=5-", If_Range=date).status
                for date in (uploaded, "Tue, 01 Jan 2041 00:00:00 GMT", "Tue, 01 Jan 1991 00:00:00 GMT")]

    assert statuses == [206, 206, 200]


def test_range_at_the_end_is_refused_whatever_its_condition_but_another_file(device: Device, action: Action) -> None:
    sha1 = hashlib.sha1(SCRIPT).hexdigest()

    assert device.get(artifact_path(action), Range="bytes=21-", If_Range=sha1).status == 416
    assert device.get(artifact_path(action), Range="bytes=21-", If_Range="other").status == 200


def test_range_is_recorded_nowhere_and_served_in_any_state_of_the_action(server: UpdateServer, device: Device,
                                                                         action: Action) -> None:
    entries = len(action.entries)

    assert device.get(artifact_path(action), Range="bytes=5-").status == 206
    assert device.get(artifact_path(action), Range="bytes=0-").status == 200
    assert len(action.entries) == entries
    server.cancel(action)
    assert device.get(artifact_path(action)).status == 404
    assert device.get(artifact_path(action), Range="bytes=5-").status == 206
    server.force_quit(action)
    assert device.get(artifact_path(action)).status == 404
    assert device.get(artifact_path(action), Range="bytes=5-").status == 206


def test_replaced_file_has_another_etag(server: UpdateServer, device: Device, action: Action) -> None:
    before = device.get(artifact_path(action))
    server.replace_artifact(action.distribution_set.modules[0], "a.sh", b"#!/bin/sh\necho other\n")

    after = device.get(artifact_path(action), Range="bytes=5-", If_Range=before.headers["etag"])

    assert (after.status, after.body) == (200, b"#!/bin/sh\necho other\n")
    assert after.headers["etag"] != before.headers["etag"]


def test_only_a_file_of_the_module_can_be_replaced(server: UpdateServer, action: Action) -> None:
    with pytest.raises(OperatorError, match=r"no artifact b\.sh"):
        server.replace_artifact(action.distribution_set.modules[0], "b.sh", b"x")


@pytest.mark.parametrize("name, status", [
    ("a b", 404), ("a%b", 400), ("a/b", 400), ("a;b", 400), ("a\\b", 400), ("a\nb", 400),
    ("a+b", 200), ("a~b", 200), ("a@b,c:d=e&f", 200), ("#?'\"$()*!^|{}", 200), ("gr\u00fcn", 200), ("a.b-c_d", 200)])
def test_file_name_decides_whether_its_link_works(server: UpdateServer, device: Device, name: str, status: int) -> None:
    action = server.assign("gw-1", [server.software_module("script", "a", "1", {name: b"x"})])
    artifact = device.get(f"deploymentBase/{action.id}").json()["deployment"]["chunks"][0]["artifacts"][0]

    href = artifact["_links"]["download-http"]["href"]

    assert artifact["filename"] == name
    assert device.get(href[len(server.url):]).status == status


def test_settings_decide_the_names_and_schemes_of_links(server: UpdateServer, device: Device, action: Action) -> None:
    server.settings.link_names = ("download", "md5sum", "download-http", "md5sum-http")
    server.settings.artifact_scheme = "ftp"

    links = device.get(f"deploymentBase/{action.id}").json()["deployment"]["chunks"][0]["artifacts"][0]["_links"]

    url = f"ftp://{server.address}/DEFAULT/controller/v1/gw-1/{artifact_path(action)}"
    assert links == {"download": {"href": url}, "download-http": {"href": url},
                     "md5sum": {"href": url + ".MD5SUM"}, "md5sum-http": {"href": url + ".MD5SUM"}}


def test_expect_continue_is_answered_before_the_body_is_read(server: UpdateServer) -> None:
    server.target("gw-1")
    body = b'{"data":{"a":"1"}}'
    with socket.create_connection(("127.0.0.1", server.port), timeout=20) as connection:
        connection.sendall(b"PUT /DEFAULT/controller/v1/gw-1/configData HTTP/1.1\r\nHost: x\r\n"
                           b"Content-Type: application/json\r\nExpect: 100-continue\r\n"
                           b"Content-Length: %d\r\n\r\n" % len(body))

        assert connection.recv(100).startswith(b"HTTP/1.1 100 Continue\r\n\r\n")
        connection.sendall(body)
        assert connection.recv(100).startswith(b"HTTP/1.1 200 ")

    assert server.target("gw-1").attributes == {"a": "1"}


def test_chunked_body(server: UpdateServer) -> None:
    server.target("gw-1")
    device = Device(server, "gw-1")

    device.connection.request("PUT", f"{device.base}/configData", iter([b'{"data":', b'{"a":"1"}}']),
                              {"Content-Type": "application/json"}, encode_chunked=True)

    assert device.connection.getresponse().status == 200
    assert server.target("gw-1").attributes == {"a": "1"}


def test_many_devices_at_once(server: UpdateServer) -> None:
    module = server.software_module("script", "a", "1", {"a.sh": b"x" * 200_000})
    actions = {f"gw-{number}": server.assign(f"gw-{number}", [module]) for number in range(30)}
    start = threading.Barrier(30)
    answers: list[int] = []

    def run(target: str, action: Action) -> None:
        device = Device(server, target)
        start.wait(20)
        steps = [device.get(), device.get(f"deploymentBase/{action.id}"), device.get(artifact_path(action)),
                 device.report(action.id, "closed", "success", target)]
        answers.extend(step.status for step in steps)

    threads = [threading.Thread(target=run, args=each) for each in actions.items()]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)

    assert answers == [200] * 120
    assert {target: action.messages()[-1] for target, action in actions.items()} == {each: each for each in actions}


@pytest.mark.parametrize("name, disposition", [("a%25.sh", "inline;filename=f.txt"), ("a%25.txt", None)])
def test_refusal_gets_a_harmless_file_name_if_the_path_looks_like_a_file(device: Device, name: str,
                                                                     disposition: str | None) -> None:
    answer = device.get(f"softwaremodules/1/artifacts/{name}")

    assert answer.status == 400
    assert answer.headers.get("content-disposition") == disposition
