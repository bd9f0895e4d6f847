# SPDX-License-Identifier: Apache-2.0
"""The operator cancels a deployment at various stages."""
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
    rest_until_polled,
    start_known,
    start_rarely_polling,
    started,
    takes_the_next,
)

SLOW_SCRIPT_SIZE = 160_000


def test_cancelled_while_the_gateway_waits(home):
    action = hold_back(home, "one")

    home.server.cancel(action)
    home.poll_now()
    record = home.wait_for_end(action)

    assert record.status == "canceled"
    assert [report.messages for report in reports(record)] == [(NOTHING_TO_DO,)]
    assert home.server.target(home.device).update_status == "in_sync"
    assert takes_the_next(home)
    assert home.gateway.leftovers() == []


def test_cancelled_while_the_gateway_downloads(home):
    home.server.slow_down(home.device)
    daemon = start_known(home)
    padding = "#" * SLOW_SCRIPT_SIZE
    action = home.assign(home.script("one", f"touch /tmp/ran\n{padding}\n"))
    home.poll_now()
    daemon.wait_for_line("event=download_artifact")
    home.wait_until(lambda: "download" in [each.type for each in home.server.action(action).entries],
                    "the download's record")

    home.server.cancel(action)
    home.poll_now()
    record = home.wait_for_end(action)

    assert record.status == "canceled"
    assert [report.messages for report in reports(record)] == [(NOTHING_TO_DO,)]
    assert takes_the_next(home)
    assert home.gateway.leftovers() == []


def cancel_during(home, held, action):
    """Cancels while the script is held; it cannot be stopped, and is reported. Returns the server's record."""
    home.server.cancel(action)
    home.poll_now()
    held.release()
    poll_until_closed(home, action)
    record = assert_closed_once(home, action, "canceled")
    assert reports(record)[:2] == [started(held.module.chunk), deployed(held.module.chunk, "released")]
    return record


def test_cancelled_while_the_gateway_installs(home):
    """The installation of a module cannot be stopped; the modules after it are not installed."""
    start_rarely_polling(home)
    held, action = hold_installation(home, package_module(home))

    record = cancel_during(home, held, action)

    assert len(reports(record)) <= 3
    assert home.gateway.calls("opkg") == []
    assert takes_the_next(home)
    assert home.gateway.leftovers() == held.own_files


def test_cancelled_while_the_gateway_installs_the_last_module(home):
    """No module is left to skip, but the action still becomes cancelled."""
    start_rarely_polling(home)
    held, action = hold_installation(home)

    record = cancel_during(home, held, action)

    assert SUCCESSFUL not in reports(record)
    assert takes_the_next(home)
    assert home.gateway.leftovers() == held.own_files


def test_cancelled_between_two_polls_the_gateway_runs_into_it(home):
    """The server accepts the report on the finished module, but refuses further downloads."""
    start_rarely_polling(home)
    package = package_module(home)
    held, action = hold_installation(home, package)

    home.server.cancel(action)
    held.release()
    record = assert_closed_once(home, action, "error")

    *done, failure = reports(record)
    assert done == [started(held.module.chunk), deployed(held.module.chunk, "released")]
    assert failure.messages[0] == "HTTP server returned an error code"
    assert "httpcode: 404" in failure.messages[1]
    assert failure.messages[-1] == package.chunk
    assert home.gateway.calls("opkg") == []
    assert takes_the_next(home)


def test_force_quit_while_the_gateway_installs(home):
    """The daemon notices the withdrawal and drops the deployment without a report."""
    daemon = start_rarely_polling(home)
    held, action = hold_installation(home, package_module(home))

    home.server.cancel(action)
    home.server.force_quit(action)
    home.poll_now()
    held.release()
    daemon.wait_for_line("abort_deployment_action")
    record = assert_closed_once(home, action, "canceled")

    assert reports(record) == [started(held.module.chunk)]
    assert home.gateway.calls("opkg") == []
    assert takes_the_next(home)
    assert daemon.is_running()


def test_force_quit_between_two_polls_refuses_the_next_report(home):
    """The refusal ends the daemon; its supervisor restarts it, and it carries out the next deployment."""
    supervisor = home.supervise("--dormant", "true")
    rest_until_polled(home, supervisor.daemon)
    held, action = hold_installation(home, package_module(home))

    home.server.cancel(action)
    home.server.force_quit(action)
    held.release()
    home.wait_until(lambda: len(supervisor.daemons) == 2, "the second start")
    record = assert_closed_once(home, action, "canceled")

    assert reports(record) == [started(held.module.chunk)]
    assert supervisor.daemons[0].exit_status == 1
    assert "httpcode_tag*] = 410" in supervisor.daemons[0].err
    assert home.gateway.calls("opkg") == []
    assert takes_the_next(home)
