# SPDX-License-Identifier: Apache-2.0
"""A gateway that is new to the server."""


def test_registers_itself_with_its_attributes(home):
    home.start(properties={"hw_revision": "3", "serial": "A-17"})

    known = home.wait_until_registered()

    assert dict(known.attributes).items() >= {"hw_revision": "3", "serial": "A-17", "dormant": "0"}.items()
    assert known.update_status == "registered"


def test_sends_its_attributes_again_when_the_operator_asks(home):
    daemon = home.start(properties={"serial": "A-17"})
    home.wait_until_registered()
    sent = len(daemon.output.lines)

    home.server.request_attributes(home.device)

    daemon.wait_for_line("configData", start=sent)
    assert home.wait_until_registered().attributes["serial"] == "A-17"
