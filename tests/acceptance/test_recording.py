# SPDX-License-Identifier: Apache-2.0
"""The recorder itself: it changes no exchange, and writes what the stand-in can replay."""
import http.client
import json
import re
import socket
import threading
from pathlib import Path

import pytest

from as_recorded import IN_ANOTHER_ORDER, differences, fixture_of, sent_then
from devkit_driver import DevkitServer
from hawkbit_server import UpdateServer
from recording import FIXTURES, LIKE_ANOTHER, LONGEST_ARTIFACT, NotRecorded, Recording, RecordingServer
from relay import Passed, Relay

ANSWER = (b"HTTP/1.1 200 \r\nX-Odd:  two  blanks\r\nTransfer-Encoding: chunked\r\n"
          b"Content-Type: application/json\r\n\r\n3\r\n{\"a\r\n4\r\n\":1}\r\n0\r\n\r\n")
REQUEST = (b"POST /DEFAULT/controller/v1/gw%3A1/configData?x=%20 HTTP/1.1\r\nhost: front:8443\r\n"
           b"X-Forwarded-Proto:https\r\nCONTENT-length: 3\r\n\r\n{}\n")


@pytest.fixture(name="upstream")
def fixture_upstream():
    """A server that answers one request with ANSWER: its port, and a list of its requests."""
    asked = []
    with socket.create_server(("127.0.0.1", 0)) as listener:
        def serve():
            connection, _ = listener.accept()
            with connection:
                asked.append(connection.recv(65536))
                connection.sendall(ANSWER)
        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        yield listener.getsockname()[1], asked
        thread.join(30)


def ask(port, request):
    answer = b""
    with socket.create_connection(("127.0.0.1", port), 30) as connection:
        connection.sendall(request)
        while piece := connection.recv(65536):
            answer += piece
    return answer


def test_every_byte_passes_as_it_came(upstream):
    port, asked = upstream
    seen = []
    relay = Relay(port, seen.append, threading.RLock())

    answer = ask(relay.port, REQUEST)
    relay.close()

    assert (answer, asked) == (ANSWER, [REQUEST])
    assert (seen[0].method, seen[0].path) == ("POST", "/DEFAULT/controller/v1/gw%3A1/configData?x=%20")
    assert (seen[0].body, seen[0].status, seen[0].response_body) == (b"{}\n", 200, b'{"a":1}')


@pytest.fixture(name="recording")
def fixture_recording():
    return Recording("a-scenario", "00:05:00")


@pytest.fixture(name="recorded")
def fixture_recorded(tmp_path, pki, recording):
    server = RecordingServer(DevkitServer(tmp_path, pki, "00:05:00", proxied=False), recording)
    yield server
    server.close()


def test_the_operators_steps_stand_in_the_fixture_with_the_final_records(tmp_path, recorded, recording):
    module = recorded.add_module("script", "job", "1", {"job.sh": b"exit 0\n", "raw": b"\xff"})
    action = recorded.assign("gw-1", [module], "soft")
    recorded.cancel(action)
    recording.exchange(Passed(recording.began + 9, "GET", "/DEFAULT/controller/v1/gw-1", {"host": "front"},
                              b"", 404, {"content-length": "0"}, b""))

    steps = json.loads(recording.write(recorded, tmp_path / "fixtures").read_text())

    assert [each["operator"] for each in steps[:4]] == ["polling time", "add module", "assign", "cancel"]
    assert steps[1]["artifacts"] == {"job.sh": "exit 0\n", "raw": {"base64": "/w=="}}
    assert (steps[2]["type"], steps[2]["modules"]) == ("soft", [{"id": module.id}])
    assert (steps[4]["t"], steps[4]["request"]["authorized"]) == (9, False)
    assert steps[4]["response"] == {"status": 404, "headers": {"content-length": "0"}, "body": None}
    assert steps[5]["record"]["detailStatus"] == "canceling"
    assert (steps[6]["target"], steps[6]["updateStatus"]) == ("gw-1", "pending")


def test_what_cannot_be_replayed_is_not_written(tmp_path, recorded, recording):
    recorded.add_module("os", "image", "1", {"image.bin": bytes(LONGEST_ARTIFACT + 1)})

    with pytest.raises(NotRecorded, match="long artifacts"):
        recording.write(recorded, tmp_path / "fixtures")

    assert not (tmp_path / "fixtures").exists()


def test_scenario_without_a_request_is_not_written(tmp_path, recorded, recording):
    with pytest.raises(NotRecorded, match="asked nothing"):
        recording.write(recorded, tmp_path / "fixtures")


def test_every_report_that_is_not_the_recorded_one_is_told():
    scenario = "failing-script-is-recorded-with-its-texts"
    step = next(each for each in json.loads(fixture_of(scenario).read_text(encoding="utf-8"))
                if each.get("request", {}).get("method") == "PUT")
    attributes = step["request"]
    target = attributes["path"].split("/")[4]
    with UpdateServer() as server:
        server.target(target)

        def send(body):
            connection = http.client.HTTPConnection(server.address, timeout=30)
            connection.request("PUT", attributes["path"], json.dumps(body), attributes["headers"])
            assert connection.getresponse().read() == b""
            connection.close()

        send(attributes["body"])
        told = differences(scenario, server).splitlines()
        send(attributes["body"])
        told_of_the_same_again = differences(scenario, server).splitlines()
        send({**attributes["body"], "mode": "merge"})
        told_of_another = differences(scenario, server).splitlines()

    assert len(told) == sent_then(scenario).total() - 1
    assert told_of_the_same_again == told
    assert all(line.startswith("missing: ") for line in told)
    assert [line for line in told_of_another if line not in told] == [line for line in told_of_another
                                                                      if line.startswith("new: ('PUT', ")]
    assert len(told_of_another) == len(told) + 1


def test_what_is_compared_in_no_order_was_recorded():
    assert [name for name in IN_ANOTHER_ORDER if not fixture_of(name).exists()] == []


def test_what_is_recorded_or_left_out_is_a_scenario():
    scenarios = tuple(name.replace("_", "-") for path in Path(__file__).parent.glob("test_*.py")
                      for name in re.findall(r"^def test_(\w+)", path.read_text(encoding="utf-8"), re.M))
    recorded = {path.stem for path in FIXTURES.glob("*.json")}

    assert recorded
    assert [name for name in (*sorted(recorded), *LIKE_ANOTHER) if not name.startswith(scenarios)] == []
    assert recorded.isdisjoint(LIKE_ANOTHER)
