# SPDX-License-Identifier: Apache-2.0
"""A report that cannot be delivered for a while: the proxy is away, or the server refuses it."""
import os
import time

import pytest

from flow import SUCCESSFUL, assert_closed_once, deployed, hold_installation, reports, start_known, started
from hawkbit_server import Code

# How long the server refuses a report; a server that is restarted does so for about a minute.
REFUSED_SECONDS = float(os.environ.get("ZEPHRAN_REFUSED_SECONDS", "6"))


@pytest.mark.proxied
@pytest.mark.alone
def test_end_of_an_installation_waits_for_the_proxy(home):
    home.configure("service.report_retries", "1")
    daemon = start_known(home)
    held, action = hold_installation(home)

    home.server.stop_proxy()
    held.release()
    daemon.wait_for_line("WARNING .*event=report_kept")
    home.poll_now()
    daemon.wait_for_line("event=backoff")
    home.server.start_proxy()
    home.poll_now()
    record = assert_closed_once(home, action, "finished")

    assert daemon.is_running()
    assert reports(record) == [
        started(held.module.chunk), deployed(held.module.chunk, "released"), SUCCESSFUL]


def is_closing_report(passage):
    return passage.path.partition("?")[0].endswith("/feedback") and b'"closed"' in passage.body


def cut_back_off_short(home, link):
    """Has the daemon try again now, and waits until it has."""
    tries = len(link.passages)
    home.poll_now()
    home.wait_until(lambda: len(link.passages) > tries, "the next try")


def test_end_that_the_server_refuses_for_a_while(home, link):
    home.configure("service.report_retries", "1")
    # The package makes it.
    (home.gateway.run_dir / "etc/zephran").mkdir(mode=0o700)
    daemon = start_known(home)
    link.refuse(is_closing_report, Code(503))
    module = home.script("one", "echo fine")
    action = home.assign(module)
    home.poll_now()
    daemon.wait_for_line("WARNING .*event=report_kept")

    end = time.monotonic() + REFUSED_SECONDS
    while time.monotonic() < end:
        cut_back_off_short(home, link)
    assert home.server.action(action).active
    link.accept()
    home.poll_now()
    record = assert_closed_once(home, action, "finished")

    refused = [each for each in link.passages if each.status == 503]
    assert len(refused) > 1
    assert all(is_closing_report(each) for each in refused)
    assert reports(record) == [started(module.chunk), deployed(module.chunk, "fine"), SUCCESSFUL]
    assert list((home.gateway.run_dir / "etc/zephran").iterdir()) == []
