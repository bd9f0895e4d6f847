# SPDX-License-Identifier: Apache-2.0
"""What the options of section "network" change about every transfer."""
import ssl

import pytest

from hawkbit_server import Code, Part, Slow, Stall, Status, Tls

SILENCE = "WARNING .*event=http_error method={} host=localhost:[0-9]+ path={} code=28 text=Timeout was reached"
BASE = "/DEFAULT/controller/v1/gw-1"


def configure(bench, **options):
    for name, value in options.items():
        bench.configure(f"network.{name}", value)


@pytest.mark.parametrize("kind", ["accept", "handshake"])
def test_connection_that_does_not_come_about_is_given_up(bench, kind):
    configure(bench, connect_timeout="1", log_http="failures")
    bench.server.order(kind, Stall())
    daemon = bench.start()

    daemon.wait_for_line(SILENCE.format("GET", BASE))
    daemon.wait_for_line("WARNING .*event=backoff")


def test_silent_server_is_given_up_during_a_poll(bench):
    configure(bench, request_timeout="1", log_http="failures")
    bench.stall("base")
    daemon = bench.start()

    daemon.wait_for_line(SILENCE.format("GET", BASE))
    daemon.wait_for_line("WARNING .*event=backoff")


def test_time_for_an_exchange_is_no_limit_for_a_download(bench):
    configure(bench, request_timeout="2")
    bench.server.order("artifact", Slow(20))
    action = bench.assign(bench.script("one", "echo " + "x" * 80))
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


@pytest.mark.differs("tries")
def test_download_that_stalls_is_given_up(bench):
    configure(bench, stall_seconds="2", stall_bytes="16", log_http="failures")
    stall = Stall(5, Part.BODY)
    bench.server.order("artifact", stall)
    action = bench.assign(bench.script("one", "touch /tmp/ran"))
    daemon = bench.start()

    daemon.wait_for_line("event=http_error method=GET host=localhost:[0-9]+ path=.*/artifacts/one.sh code=28 ")
    bench.wait_for_end(action)

    assert action.status is Status.ERROR


def test_speed_of_downloads_is_limited(bench):
    configure(bench, max_speed="1000")
    action = bench.assign(bench.script("one", "#" * 3000))
    bench.start()

    bench.wait_for_end(action)

    sent = bench.server.exchanges("artifact")[0]
    reported = next(each for each in bench.server.exchanges("feedback") if each.arrived > sent.arrived)
    assert action.status is Status.FINISHED
    assert reported.arrived - sent.arrived >= 2


def test_server_with_an_older_tls_is_refused(make_bench, pki):
    bench = make_bench(tls=Tls(pki.server.certificate, pki.server.key, newest=ssl.TLSVersion.TLSv1_2))
    configure(bench, tls_min="1.3", log_http="failures")
    daemon = bench.start()

    daemon.wait_for_line(f"event=http_error method=GET host=localhost:[0-9]+ path={BASE} code=35 .* now=")

    assert bench.server.exchanges() == []


def test_server_with_the_lowest_tls_is_accepted(make_bench, pki):
    bench = make_bench(tls=Tls(pki.server.certificate, pki.server.key, newest=ssl.TLSVersion.TLSv1_2))
    configure(bench, tls_min="1.2")
    bench.start()

    assert bench.wait_for_exchanges("base", 1)[0].status == 200


def test_sessions_are_resumed(bench):
    configure(bench, tls_resumption="1")
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert [each.resumed for each in bench.exchanges()] == [False] + [True] * (len(bench.exchanges()) - 1)


@pytest.mark.differs("tls-sessions")
def test_sessions_are_not_resumed_by_themselves(bench):
    action = bench.assign(bench.script("one", "echo fine"))
    bench.start()

    bench.wait_for_end(action)

    assert {each.resumed for each in bench.exchanges()} == {False}


def test_tenant_stands_in_the_addresses(bench):
    configure(bench, tenant="HOMES")
    daemon = bench.start()

    daemon.wait_for_line("WARNING .*event=backoff")

    assert {each.path for each in bench.exchanges()} == {"/HOMES/controller/v1/gw-1"}


def test_token_is_sent_with_every_request_and_shown_nowhere(make_bench):
    bench = make_bench(authorization="TargetToken s3cr3t-of-gw-1")
    configure(bench, token_file=str(bench.file("token", "s3cr3t-of-gw-1\n")), log_http="all")
    action = bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start(level="DEBUG")

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert {each.headers.get("authorization") for each in bench.exchanges()} == {"TargetToken s3cr3t-of-gw-1"}
    assert {each.kind for each in bench.exchanges()} >= {"base", "configData", "deploymentBase", "artifact",
                                                         "feedback"}
    assert "s3cr3t" not in daemon.log


def test_new_token_is_taken_without_a_restart(make_bench):
    bench = make_bench(authorization="GatewayToken new")
    token = bench.file("token", "old\n")
    configure(bench, token_file=str(token), token_type="GatewayToken")
    daemon = bench.start()
    daemon.wait_for_line("WARNING .*event=backoff")
    assert {each.status for each in bench.exchanges()} == {401}

    token.write_text("new\n", encoding="utf-8")
    bench.gateway.bus.call("force_poll")

    bench.wait_until(lambda: 200 in {each.status for each in bench.exchanges()}, "a poll with the new token")


def test_failed_requests_are_logged_without_their_query(bench):
    configure(bench, log_http="failures")
    bench.server.order("deploymentBase", Code(503))
    bench.assign(bench.script("one", "echo fine"))
    daemon = bench.start()

    daemon.wait_for_line("WARNING .* perform: event=http_error method=GET host=localhost:[0-9]+ "
                         rf"path={BASE}/deploymentBase/1\?actionHistory=10 status=503 milliseconds=[0-9]+ bytes=0$")

    assert "http_request" not in daemon.log


@pytest.mark.differs("failed-requests")
def test_failed_requests_are_not_logged_by_themselves(bench):
    bench.server.order("base", Code(503))
    daemon = bench.start()

    daemon.wait_for_line("WARNING .*event=backoff")

    assert "http_error" not in daemon.log


def test_value_that_cannot_be_understood_is_named_and_left_out(bench):
    configure(bench, connect_timeout="soon", tls_min="", log_http="loud")
    daemon = bench.start()

    bench.wait_for_exchanges("base", 1)

    lines = [line for line in daemon.log.splitlines() if "event=bad_option" in line]
    assert [line.partition("event=")[2] for line in lines] == [
        "bad_option option=connect_timeout value=soon expected=a number from 1 to 86400",
        "bad_option option=log_http value=loud expected=one of 0, failures, all"]
