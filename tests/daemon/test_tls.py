# SPDX-License-Identifier: Apache-2.0
"""Which servers the daemon trusts, and how it authenticates itself."""
import pytest

from hawkbit_server import Status, Tls


def refuses(daemon, bench):
    daemon.wait_for_line("ERROR .*action=fsm_agent_event what=HTTP request failed$")
    daemon.wait_for_line("WARNING .*event=backoff")
    assert bench.server.exchanges() == []


def test_server_of_an_unknown_authority_is_refused(make_bench, pki):
    bench = make_bench(tls=Tls(pki.stranger_server.certificate, pki.stranger_server.key))

    refuses(bench.start(), bench)


def test_given_bundle_is_the_only_one_trusted(bench):
    refuses(bench.start(ca=bench.pki.stranger.certificate), bench)


def test_server_with_another_name_is_refused(make_bench, pki):
    bench = make_bench(tls=Tls(pki.wrong_host.certificate, pki.wrong_host.key))

    refuses(bench.start(), bench)


def test_server_may_be_given_as_an_address(bench):
    bench.start(server=f"127.0.0.1:{bench.server.port}")

    assert bench.wait_for_exchanges("base", 1)[0].status == 200


def test_unencrypted_link_is_refused(make_bench):
    bench = make_bench(base_scheme="http")
    bench.assign(bench.script("one", "touch /tmp/ran"))
    daemon = bench.start()

    daemon.wait_for_line("ERROR .*action=fsm_agent_event what=Server supplied insecure URL$")
    daemon.wait_for_line("WARNING .*event=backoff")

    assert {each.kind for each in bench.exchanges()} == {"base"}


def start_with(bench, pair):
    return bench.start("--client-certificate", pair.certificate, "--client-certificate-key", pair.key)


@pytest.mark.parametrize("mode", ["demanded", "required"])
def test_client_certificate_is_sent_with_every_request(make_bench, pki, mode):
    bench = make_bench(tls=Tls(pki.server.certificate, pki.server.key, pki.ca, client=mode))
    action = bench.assign(bench.script("one", "echo fine"))
    start_with(bench, pki.client)

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert {each.client_subject for each in bench.exchanges()} == {"gw-1"}
    assert {each.kind for each in bench.exchanges()} >= {
        "base", "configData", "deploymentBase", "artifact", "feedback"}


def test_poll_fails_without_the_required_certificate(make_bench, pki):
    bench = make_bench(tls=Tls(pki.server.certificate, pki.server.key, pki.ca, client="demanded"))
    daemon = bench.start()

    daemon.wait_for_line("WARNING .*event=backoff")

    assert {each.status for each in bench.exchanges()} == {403}


def test_certificate_of_an_unknown_authority_is_refused(make_bench, pki):
    bench = make_bench(tls=Tls(pki.server.certificate, pki.server.key, pki.ca, client="required"))
    daemon = start_with(bench, pki.stranger_client)

    daemon.wait_for_line("WARNING .*event=backoff")

    assert bench.server.exchanges() == []
