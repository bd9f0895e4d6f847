# SPDX-License-Identifier: Apache-2.0
"""A second assignment replaces the first one."""
from flow import (
    NOTHING_TO_DO,
    SUCCESSFUL,
    assert_closed_once,
    deployed,
    hold_back,
    hold_installation,
    package_module,
    poll_until_closed,
    reports,
    start_rarely_polling,
    started,
)


def newer_module(home):
    return home.script("newer", "echo newer")


def assert_newer_carried_out(home, action, module):
    record = assert_closed_once(home, action, "finished")
    assert reports(record) == [started(module.chunk), deployed(module.chunk, "newer"), SUCCESSFUL]


def test_replaced_while_the_gateway_waits(home):
    older = hold_back(home, "older")

    module = newer_module(home)
    newer = home.assign(module)
    home.poll_now()
    replaced = home.wait_for_end(older)
    home.poll_now()
    assert_newer_carried_out(home, newer, module)

    assert replaced.status == "canceled"
    assert [report.messages for report in reports(replaced)] == [(NOTHING_TO_DO,)]
    assert home.server.action(older) == replaced
    assert home.gateway.leftovers() == []


def test_replaced_while_the_gateway_installs(home):
    start_rarely_polling(home)
    held, older = hold_installation(home, package_module(home))

    module = newer_module(home)
    newer = home.assign(module)
    home.poll_now()
    held.release()
    replaced = poll_until_closed(home, older)
    home.poll_now()
    assert_newer_carried_out(home, newer, module)

    assert replaced.status == "canceled"
    assert reports(replaced)[:2] == [started(held.module.chunk), deployed(held.module.chunk, "released")]
    assert home.server.action(older) == replaced
    assert home.gateway.calls("opkg") == []
    assert home.gateway.leftovers() == held.own_files


def test_replaced_while_its_replacement_is_taken_back(home):
    """Both are cancelled, one after the other, before the gateway polls; the third one is carried out."""
    older = hold_back(home, "older")

    middle = home.assign(home.script("middle", "touch /tmp/ran"))
    module = newer_module(home)
    newer = home.assign(module)
    for action in (older, middle):
        home.poll_now()
        assert home.wait_for_end(action).status == "canceled"
    home.poll_now()
    assert_newer_carried_out(home, newer, module)

    assert home.gateway.leftovers() == []
