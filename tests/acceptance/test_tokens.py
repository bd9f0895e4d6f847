# SPDX-License-Identifier: Apache-2.0
"""Gateways that show a token instead of a certificate, at a server without a proxy in front of it."""
from flow import assert_closed_once
from test_trust import assert_turned_away


def test_gateway_with_its_token_needs_no_certificate(home, unproxied):
    token = home.server.token_of(home.device)
    daemon = home.start_with_token(token, unproxied)
    home.wait_until_registered()
    action = home.assign(home.script("one", "touch /tmp/state-ran"))
    home.poll_now()

    assert_closed_once(home, action, "finished")

    assert (home.gateway.tmp / "state-ran").exists()
    assert token not in daemon.log


def test_token_of_another_gateway_is_refused(home, unproxied, label):
    token = home.server.token_of(f"{label}-other")
    daemon = home.start_with_token(token, unproxied)

    assert_turned_away(home, daemon, {"401", "403"})
