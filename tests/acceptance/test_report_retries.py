# SPDX-License-Identifier: Apache-2.0
"""A report that cannot be delivered for a while, because the proxy is away."""
import pytest

from flow import SUCCESSFUL, assert_closed_once, deployed, hold_installation, reports, start_known, started

pytestmark = [pytest.mark.proxied, pytest.mark.alone]


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
