# SPDX-License-Identifier: Apache-2.0
"""Gateways that cannot prove their identity are turned away before they reach the server."""
import http.client
import ssl

import pytest

FAILED_POLL = ("ERROR .*event=exception_caught action=fsm_agent_event "
               "what=HTTP (request failed|server returned an error code)$")
BACKED_OFF = r"WARNING .*event=backoff delay=00h:\d\dm:\d\ds$"


def assert_turned_away(home, daemon, statuses):
    """Asserts two failed polls, the second of them forced by local software."""
    for _ in range(2):
        seen = len(daemon.output.lines)
        home.poll_now()
        daemon.wait_for_line(FAILED_POLL, start=seen)
        daemon.wait_for_line(BACKED_OFF, start=seen)
    answers = {line.text.split()[2] for line in daemon.output.lines if line.text.startswith("< HTTP/1.1 ")}
    assert answers <= statuses
    assert answers or not home.server.has_proxy
    assert home.server.target(home.device) is None
    assert daemon.is_running()


def test_certificate_of_an_unknown_authority_is_refused(home):
    daemon = home.start(certificate=home.server.access.stranger)

    # nginx answers a certificate that it cannot verify with status 400.
    assert_turned_away(home, daemon, {"400", "403"})


def test_gateway_without_a_certificate_is_refused(home):
    access = home.server.access
    daemon = home.start_for(home.device, access.address, access.ca)

    assert_turned_away(home, daemon, {"403"})


def test_gateway_registers_as_soon_as_it_has_the_right_certificate(home):
    daemon = home.start(certificate=home.server.access.stranger)
    daemon.wait_for_line(BACKED_OFF)
    before = home.server.target(home.device)

    daemon.terminate()
    home.start()

    assert before is None
    assert home.wait_until_registered().update_status == "registered"


@pytest.mark.proxied
def test_nothing_but_the_interface_of_devices_can_be_reached(server, label):
    access = server.access
    context = ssl.create_default_context(cafile=access.ca)
    context.load_cert_chain(access.certificate, access.key)

    def status(path):
        connection = http.client.HTTPSConnection(access.address, timeout=30, context=context)
        try:
            connection.request("GET", path, headers={"Authorization": "Basic YWRtaW46YWRtaW4="})
            return connection.getresponse().status
        finally:
            connection.close()

    foreign = {path: status(path) for path in (
        "/", "/rest/v1/targets", "/rest/v1/system/configs", "/DEFAULT/controller/v1/../../../rest/v1/targets")}

    assert status(f"/DEFAULT/controller/v1/{label}") == 200
    assert set(foreign.values()) == {404}, foreign
