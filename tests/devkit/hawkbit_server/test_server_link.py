# SPDX-License-Identifier: Apache-2.0
"""The link in front of a server: what passes, and what a test can do to it."""

from __future__ import annotations

import http.client
import json
import ssl
import threading
from collections.abc import Iterator

import pytest
from throwaway_device import Answer, Device, artifact_path

from hawkbit_server import Code, Link, Passage, Peer, Text, Tls, UpdateServer
from pki import Pki

CONTENT = bytes(range(256)) * 1000


@pytest.fixture(name="plain")
def fixture_plain() -> Iterator[UpdateServer]:
    with UpdateServer(forwarded_headers=True) as server:
        yield server


@pytest.fixture(name="link")
def fixture_link(pki: Pki, plain: UpdateServer) -> Iterator[Link]:
    with Link(Tls(pki.server.certificate, pki.server.key), Peer(plain.port)) as link:
        yield link


@pytest.fixture(name="path")
def fixture_path(plain: UpdateServer) -> str:
    """The path of an artifact with CONTENT that gw-1 may download."""
    action = plain.assign("gw-1", [plain.software_module("script", "hello", "1.0", {"a.sh": CONTENT})])
    return f"/DEFAULT/controller/v1/gw-1/{artifact_path(action)}"


def connect(link: Link, pki: Pki) -> http.client.HTTPSConnection:
    return http.client.HTTPSConnection(link.address, timeout=20, context=ssl.create_default_context(cafile=pki.ca))


def ask(link: Link, pki: Pki, path: str = "/DEFAULT/controller/v1/gw-1", method: str = "GET",
        body: bytes | None = None) -> Answer:
    connection = connect(link, pki)
    headers = {"Content-Type": "application/json"} if body is not None else {}
    connection.request(method, path, body, headers)
    answer = Answer(connection.getresponse())
    connection.close()
    return answer


def test_links_lead_through_the_link(link: Link, pki: Pki) -> None:
    links = ask(link, pki).json()["_links"]

    assert links["configData"]["href"] == f"https://{link.address}/DEFAULT/controller/v1/gw-1/configData"


def test_requests_with_a_body_pass(link: Link, pki: Pki, plain: UpdateServer) -> None:
    ask(link, pki)

    answer = ask(link, pki, "/DEFAULT/controller/v1/gw-1/configData", "PUT",
                 b'{"mode": "merge", "data": {"note": "' + b"x" * 100 + b'"}}')

    assert answer.status == 200
    assert plain.store.targets["gw-1"].attributes == {"note": "x" * 100}
    assert [(each.method, each.status) for each in link.passages] == [("GET", 200), ("PUT", 200)]


def test_body_is_cut_after_so_many_bytes_and_those_arrive(link: Link, pki: Pki, path: str) -> None:
    link.cut_every(100_000)

    with pytest.raises(http.client.IncompleteRead) as broken:
        ask(link, pki, path)

    assert broken.value.partial == CONTENT[:100_000]
    assert link.passages[-1].sent == 100_000
    link.cut_every(None)
    assert ask(link, pki, path).body == CONTENT


def test_answer_of_just_that_length_is_not_cut(link: Link, pki: Pki, path: str) -> None:
    link.cut_every(len(CONTENT))

    assert ask(link, pki, path).body == CONTENT


def test_held_request_reaches_the_server_once_it_is_released(link: Link, pki: Pki, plain: UpdateServer) -> None:
    link.hold()
    answers: list[Answer] = []
    asking = threading.Thread(target=lambda: answers.append(ask(link, pki)), daemon=True)
    asking.start()
    plain.wait_for(lambda: link.passages, 20, "the request")
    seen = plain.exchanges()

    link.release()
    asking.join(20)

    assert seen == []
    assert [each.status for each in answers] == [200]


def test_refused_requests_never_reach_the_server(link: Link, pki: Pki, plain: UpdateServer) -> None:
    def is_poll(passage: Passage) -> bool:
        return passage.path.endswith("/gw-1")

    link.refuse(is_poll, Code(503, headers={"Retry-After": "7"}))

    refused = ask(link, pki)
    other = ask(link, pki, "/DEFAULT/controller/v1/gw-2")
    link.accept()
    accepted = ask(link, pki)

    assert (refused.status, refused.headers["retry-after"]) == (503, "7")
    assert (other.status, accepted.status) == (200, 200)
    assert [each.target for each in plain.exchanges()] == ["gw-2", "gw-1"]


def test_server_with_tls_is_shown_the_certificate(pki: Pki) -> None:
    tls = Tls(pki.server.certificate, pki.server.key, pki.ca, "required")
    with UpdateServer(tls) as server, \
            Link(Tls(pki.server.certificate, pki.server.key),
                 Peer(server.port, pki.ca, pki.client.certificate, pki.client.key)) as link:
        links = ask(link, pki).json()["_links"]

        assert server.exchanges()[0].client_subject == "gw-1"
        assert links["configData"]["href"].startswith(f"https://{link.address}/")


def test_links_of_a_server_that_names_its_own_port_lead_through_the_link(pki: Pki, plain: UpdateServer,
                                                                         link: Link) -> None:
    own = json.dumps({"_links": {"a": {"href": f"https://localhost:{plain.port}/x"}, "b": {"href": "http://other/"}}})
    plain.order("base", Text(own))

    links = ask(link, pki).json()["_links"]

    assert links == {"a": {"href": f"https://{link.address}/x"}, "b": {"href": "http://other/"}}


def test_server_that_is_away_is_a_closed_connection(pki: Pki) -> None:
    with UpdateServer() as server:
        port = server.port
    with Link(Tls(pki.server.certificate, pki.server.key), Peer(port)) as link, \
            pytest.raises((ssl.SSLError, ConnectionError, http.client.HTTPException)):
        ask(link, pki)


def test_target_shows_its_own_token_instead_of_what_the_others_need(pki: Pki) -> None:
    tls = Tls(pki.server.certificate, pki.server.key, pki.ca, "demanded")
    with UpdateServer(tls, authorization="GatewayToken key", target_tokens=True) as server:
        tokens = {name: server.target(name).security_token for name in ("gw-1", "gw-2")}
        device = Device(server, "gw-1", ssl.create_default_context(cafile=pki.ca))

        statuses = [device.get(Authorization=f"TargetToken {token}").status
                    for token in (tokens["gw-1"], tokens["gw-2"], "")]
        server.settings.target_tokens = False
        statuses.append(device.get(Authorization=f"TargetToken {tokens['gw-1']}").status)

    assert statuses == [200, 403, 403, 403]
