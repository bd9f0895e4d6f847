# SPDX-License-Identifier: Apache-2.0
"""Fault injection."""

from __future__ import annotations

import contextlib
import http.client
import socket
import ssl
import threading
import time
from collections.abc import Iterator

import pytest
from throwaway_device import Answer, Device

from hawkbit_server import Code, Cut, Drop, Ending, Headers, Mutate, Part, Slow, Stall, Text, Tls, UpdateServer
from pki import Pki


@pytest.fixture
def tls_server(pki: Pki) -> Iterator[UpdateServer]:
    with UpdateServer(Tls(pki.server.certificate, pki.server.key)) as running:
        yield running


def assign(server: UpdateServer, content: bytes = b"content") -> str:
    module = server.software_module("script", "a", "1", {"a.sh": content})
    server.assign("gw-1", [module])
    return f"softwaremodules/{module.id}/artifacts/a.sh"


def test_code_answers_without_doing_anything(server: UpdateServer, device: Device) -> None:
    order = server.order("base", Code(503))

    refused, after = device.get(), device.get()

    assert (refused.status, refused.json()["status"], after.status) == (503, 503, 200)
    assert order.hits == 1
    assert server.target("gw-1").polls == 1


def test_code_with_a_body_and_headers_of_its_own(server: UpdateServer, device: Device) -> None:
    server.order("base", Code(302, b"elsewhere", {"Location": "http://elsewhere.example/"}))

    answer = device.get()

    assert (answer.status, answer.body, answer.headers["location"]) == (302, b"elsewhere", "http://elsewhere.example/")


@pytest.mark.parametrize("status, body", [(401, b""), (410, b"")])
def test_code_that_has_no_body_on_the_real_server(server: UpdateServer, device: Device, status: int,
                                                  body: bytes) -> None:
    server.order("base", Code(status))

    answer = device.get()

    assert (answer.status, answer.body) == (status, body)


def test_nobody_listens_after_so_many_connections(server: UpdateServer) -> None:
    server.refuse_after(1)
    with contextlib.closing(http.client.HTTPConnection(server.address, timeout=10)) as connection:
        was_listening = server.is_listening()
        connection.request("GET", "/DEFAULT/controller/v1/gw-1")
        first = connection.getresponse()
        first.read()
        is_listening = server.is_listening()
        for _ in range(2):
            with pytest.raises(ConnectionRefusedError):
                socket.create_connection(("127.0.0.1", server.port))
        connection.request("GET", "/DEFAULT/controller/v1/gw-1")
        second = connection.getresponse()
    server.listen_again()

    assert (was_listening, is_listening, server.is_listening()) == (True, False, True)
    assert (first.status, second.status, Device(server, "gw-1").get().status) == (200, 200, 200)


def test_nobody_listens_from_now_on(server: UpdateServer) -> None:
    server.refuse_after(0)
    with pytest.raises(ConnectionRefusedError):
        Device(server, "gw-1").get()
    server.listen_again()

    assert Device(server, "gw-1").get().status == 200


def test_server_can_be_stopped_while_nobody_listens(server: UpdateServer) -> None:
    server.refuse_after(0)
    server.stop()
    server.start()

    assert Device(server, "gw-1").get().status == 200


def test_fault_affects_only_the_ordered_requests(server: UpdateServer, device: Device) -> None:
    server.order("base", Code(500), target="gw-1", first=2, times=2)
    other = Device(server, "gw-2")

    seen = [device.get().status for _ in range(5)]

    assert seen == [200, 500, 500, 200, 200]
    assert other.get().status == 200
    assert device.send("PUT", "configData", {"data": {"a": "1"}}).status == 200


def test_unlimited_order_lasts_until_it_is_withdrawn(server: UpdateServer, device: Device) -> None:
    order = server.order("any", Code(500), times=None)

    assert [device.get().status for _ in range(4)] == [500] * 4
    order.withdraw()
    assert device.get().status == 200


def test_orders_of_one_kind_are_applied_in_turn(server: UpdateServer, device: Device) -> None:
    server.order("base", Code(500))
    server.order("base", Code(503), first=3)

    assert [device.get().status for _ in range(4)] == [500, 200, 503, 200]


def test_dropped_request_has_no_effect(server: UpdateServer, device: Device) -> None:
    server.order("configData", Drop())
    device.get()

    with pytest.raises((http.client.HTTPException, OSError)):
        device.send("PUT", "configData", {"data": {"a": "1"}})

    assert server.target("gw-1").attributes == {}
    assert server.exchanges("configData")[0].outcome == "dropped"


def test_lost_reply_comes_after_the_effect(server: UpdateServer, device: Device) -> None:
    server.order("configData", Drop(processed=True))
    device.get()

    with pytest.raises((http.client.HTTPException, OSError)):
        device.send("PUT", "configData", {"data": {"a": "1"}})

    assert server.target("gw-1").attributes == {"a": "1"}


def test_stalled_request_goes_on_when_released(server: UpdateServer, device: Device) -> None:
    stall = Stall()
    server.order("base", stall)
    answers: list[int] = []
    thread = threading.Thread(target=lambda: answers.append(device.get().status))
    thread.start()

    assert stall.reached.wait(20)
    assert answers == []
    assert Device(server, "gw-2").get().status == 200
    stall.release()
    thread.join(20)

    assert answers == [200]


def poll_unanswered(device: Device) -> None:
    with pytest.raises((http.client.HTTPException, OSError)):
        device.get()


def test_stalled_request_that_is_dropped_has_no_effect(server: UpdateServer, device: Device) -> None:
    stall = Stall()
    server.order("base", stall)
    thread = threading.Thread(target=poll_unanswered, args=(device,))
    thread.start()

    assert stall.reached.wait(20)
    stall.drop()
    thread.join(20)

    assert not thread.is_alive()
    assert "gw-1" not in server.store.targets
    assert server.exchanges("base")[0].outcome == "dropped"


def test_stopping_ends_a_stalled_request() -> None:
    server = UpdateServer()
    server.start()
    stall = Stall()
    server.order("base", stall)
    device = Device(server, "gw-1")
    failures: list[bool] = []

    def poll() -> None:
        try:
            device.get()
        except (http.client.HTTPException, OSError):
            failures.append(True)

    thread = threading.Thread(target=poll)
    thread.start()
    assert stall.reached.wait(20)
    server.stop()
    thread.join(20)

    assert not thread.is_alive()


def test_no_request_is_in_progress_after_stopping() -> None:
    server = UpdateServer()
    server.start()
    device = Device(server, "gw-1")
    path = assign(server, b"x" * 1_000_000)
    server.order("artifact", Slow(1000))
    device.connection.request("GET", f"{device.base}/{path}")
    server.wait_for(lambda: server.exchanges("artifact") and server.exchanges("artifact")[0].sent, 20)

    server.stop()

    assert server.exchanges("artifact")[0].outcome == "client gone"
    assert server.exchanges("artifact")[0].sent < 1_000_000


def test_cut_body_announces_its_full_length(server: UpdateServer, device: Device) -> None:
    path = assign(server, b"x" * 1000)
    server.order("artifact", Cut(100))

    with pytest.raises(http.client.IncompleteRead) as error:
        device.get(path)

    assert (len(error.value.partial), error.value.expected) == (100, 900)
    assert (server.exchanges("artifact")[0].sent, server.exchanges("artifact")[0].outcome) == (100, "cut")


@pytest.mark.parametrize("ending", list(Ending))
def test_answer_cut_in_its_head_is_none(server: UpdateServer, ending: Ending) -> None:
    server.order("base", Cut(12, Part.HEAD, ending))
    first = socket.create_connection(("127.0.0.1", server.port), 20)
    first.sendall(b"GET /DEFAULT/controller/v1/gw-1 HTTP/1.1\r\nHost: x\r\n\r\n")

    seen, was_reset = read_to_the_end(first)
    first.close()

    assert was_reset or seen == b"HTTP/1.1 200"
    assert was_reset == (ending is Ending.RESET)
    server.wait_for(lambda: server.exchanges("base")[0].outcome == "cut", 20)
    assert server.exchanges("base")[0].sent == 0


def read_to_the_end(connection: socket.socket) -> tuple[bytes, bool]:
    """What came, and whether the connection was reset instead of closed."""
    seen = b""
    try:
        while piece := connection.recv(1000):
            seen += piece
    except ConnectionResetError:
        return seen, True
    return seen, False


def test_half_closed_connection_still_takes_what_the_device_sends(server: UpdateServer) -> None:
    server.order("base", Drop(ending=Ending.HALF))
    with socket.create_connection(("127.0.0.1", server.port), 20) as connection:
        connection.sendall(b"GET /DEFAULT/controller/v1/gw-1 HTTP/1.1\r\nHost: x\r\n\r\n")

        assert connection.recv(1000) == b""
        for _ in range(3):
            connection.sendall(b"x" * 1000)


@pytest.mark.parametrize("part, after", [(Part.HEAD, 0), (Part.HEAD, 20), (Part.BODY, 0), (Part.BODY, 7)])
def test_answer_that_stalls_within_goes_on_when_released(server: UpdateServer, part: Part, after: int) -> None:
    stall = Stall(after, part)
    server.order("base", stall)
    answers: list[Answer] = []
    thread = threading.Thread(target=lambda: answers.append(Device(server, "gw-1").get()))
    thread.start()

    assert stall.reached.wait(20)
    assert server.target("gw-1").polls == 1
    assert server.exchanges("base")[0].sent == (after if part is Part.BODY else 0)
    assert answers == []
    stall.release()
    thread.join(20)

    assert answers[0].json()["config"]


@pytest.mark.parametrize("kind", ["accept", "handshake"])
def test_connection_that_stalls_before_its_first_request(tls_server: UpdateServer, pki: Pki, kind: str) -> None:
    stall = Stall()
    tls_server.order(kind, stall)
    context = ssl.create_default_context(cafile=str(pki.ca))
    with socket.create_connection(("127.0.0.1", tls_server.port), 20) as connection:
        silent = context.wrap_socket(connection, server_hostname="127.0.0.1", do_handshake_on_connect=False)
        silent.settimeout(0.0)
        with pytest.raises(ssl.SSLWantReadError):
            silent.do_handshake()

        assert stall.reached.wait(20)
        assert Device(tls_server, "gw-1", context).get().status == 200
        assert tls_server.exchanges()[0].target == "gw-1"
        stall.release()
        silent.settimeout(20)
        if kind == "accept":
            silent.do_handshake()
            assert silent.version() is not None
        else:
            with pytest.raises(OSError, match=r"EOF|reset"):
                silent.do_handshake()


@pytest.mark.parametrize("kind", ["accept", "handshake"])
@pytest.mark.parametrize("ending", [Ending.CLOSED, Ending.RESET])
def test_connection_that_is_dropped_before_its_first_request(tls_server: UpdateServer, pki: Pki, kind: str,
                                                             ending: Ending) -> None:
    tls_server.order(kind, Drop(ending=ending))
    context = ssl.create_default_context(cafile=str(pki.ca))

    with pytest.raises(OSError, match=r"EOF|reset|Broken pipe"):
        Device(tls_server, "gw-1", context).get()

    assert tls_server.exchanges() == []
    assert Device(tls_server, "gw-1", context).get().status == 200


def test_fault_for_any_request_leaves_connections_alone(server: UpdateServer, device: Device) -> None:
    order = server.order("any", Code(500), times=None)

    assert [device.get().status, Device(server, "gw-2").get().status] == [500, 500]
    assert order.seen == 2


@pytest.mark.parametrize("kind", ["accept", "handshake"])
def test_connection_can_only_be_dropped_or_stalled(kind: str) -> None:
    with pytest.raises(ValueError, match="dropped or stalled"):
        UpdateServer().order(kind, Code(500))


def test_headers_can_lie_or_be_left_out(server: UpdateServer, device: Device) -> None:
    path = assign(server, b"0123456789")
    server.order("artifact", Headers({"Content-Range": "bytes 3-9/10", "etag": None}))

    answer = device.get(path, Range="bytes=5-")

    assert (answer.status, answer.headers["content-range"], answer.body) == (206, "bytes 3-9/10", b"56789")
    assert "etag" not in answer.headers
    assert device.get(path, Range="bytes=5-").headers["content-range"] == "bytes 5-9/10"


def test_slow_answer_may_begin_with_its_first_byte(server: UpdateServer, device: Device) -> None:
    server.order("base", Slow(2000, Part.HEAD))
    begin = time.monotonic()

    answer = device.get()

    head = sum(len(name) + len(value) + 4 for name, value in answer.headers.items())
    assert time.monotonic() - begin >= (head + len(answer.body)) / 2000


def test_text_replaces_the_document(server: UpdateServer, device: Device) -> None:
    server.order("base", Text('{"config":'))

    answer = device.get()

    assert (answer.status, answer.body) == (200, b'{"config":')
    assert answer.headers["content-type"] == "application/hal+json;charset=UTF-8"


def test_mutated_document(server: UpdateServer, device: Device) -> None:
    server.order("base", Mutate(lambda document: {**document, "config": {}}))

    assert device.get().json()["config"] == {}
    assert device.get().json()["config"] != {}


def test_slow_artifact_is_throttled_and_reports_progress(server: UpdateServer, device: Device) -> None:
    path = assign(server, b"x" * 100)
    server.order("artifact", Slow(400))
    sent: list[tuple[int, int]] = []
    server.observe(lambda event: sent.append((event.data["sent"], event.data["total"]))
                   if event.name == "downloading" else None)
    begin = time.monotonic()

    answer = device.get(path)

    assert answer.body == b"x" * 100
    assert time.monotonic() - begin >= 0.2
    server.wait_for(lambda: sent[-1] == (100, 100), 20, "the end of the download")
    assert len(sent) > 2
    assert sent == sorted(sent)


def test_client_that_goes_away_during_a_slow_download_is_noticed(server: UpdateServer, device: Device) -> None:
    path = assign(server, b"x" * 1_000_000)
    server.order("artifact", Slow(50_000))
    device.connection.request("GET", f"{device.base}/{path}")
    server.wait_for(lambda: server.exchanges("artifact") and server.exchanges("artifact")[0].sent > 1000, 20)

    device.connection.sock.close()
    device.connection.close()

    exchange = server.exchanges("artifact")[0]
    server.wait_for(lambda: exchange.outcome == "client gone", 20)
    assert 1000 < exchange.sent < 1_000_000


@pytest.mark.parametrize("kind, first, times", [("poll", 1, 1), ("base", 0, 1), ("base", 1, 0)])
def test_impossible_orders_are_refused(kind: str, first: int, times: int) -> None:
    with pytest.raises(ValueError, match=r"no kind of request|count from 1"):
        UpdateServer().order(kind, Code(500), first=first, times=times)


def test_error_of_the_server_itself_is_raised_by_stop() -> None:
    server = UpdateServer()
    server.start()
    server.order("base", Mutate(lambda document: document["nothing"]))

    with pytest.raises((http.client.HTTPException, OSError)):
        Device(server, "gw-1").get()

    with pytest.raises(RuntimeError) as error:
        server.stop()
    assert isinstance(error.value.__cause__, KeyError)
