# SPDX-License-Identifier: Apache-2.0
"""The daemon alone is killed while its tool writes a chip, and is started again."""
import re
import signal

import pytest

from hawkbit_server import Status
from release import NEW, OLD, Release, let_it_poll_again

LOCK = "/var/run/zephran.chip.lock"
WAITS = "WARNING .*(start_installation|installation_has_finished): event=waiting "
# With the number of their calls: once the first dd has ended, the boot loader is in the flash.
TOOLS = [("zw", "zwprogrammer", 2), ("bl", "flash_erase", 2), ("bl", "dd", 1)]


def daemon_killed_while_held(bench, release, tool, **fault):
    """Kills the daemon under its tool, and returns its successor and how often the tools were called by then."""
    bench.gateway.tell(tool, when="midway", hang=True, **fault)
    supervisor = release.supervise()
    bench.wait_until(lambda: bench.gateway.is_held(tool), f"{tool} being held")
    calls = bench.gateway.calls()
    killed = supervisor.daemon
    killed.signal(signal.SIGKILL)
    bench.wait_until(lambda: supervisor.daemon is not killed, "the next daemon")
    return supervisor.daemon, calls


def wait_for_steps(bench, daemon, count):
    for _ in range(count):
        daemon.wait_for_line("event=installation_has_finished ", start=len(daemon.output.lines))


@pytest.mark.parametrize("part, tool, count", TOOLS)
def test_second_tool_starts_after_the_end_of_the_first(bench, part, tool, count):
    release = Release(bench, [part])
    action = release.assign()

    daemon, calls = daemon_killed_while_held(bench, release, tool)
    daemon.wait_for_line(WAITS)
    wait_for_steps(bench, daemon, 3)
    held = bench.gateway.calls()
    bench.gateway.release(tool)
    bench.wait_for_end(action)

    assert held == calls
    assert len(re.findall(WAITS, daemon.log)) == 1
    assert action.status is Status.FINISHED
    assert len(bench.gateway.calls(tool)) == count
    release.assert_installed()


def test_firmware_is_judged_after_the_end_of_its_tool(bench):
    release = Release(bench, ["os"])
    action = release.assign()

    daemon, _ = daemon_killed_while_held(bench, release, "sysupgrade")
    daemon.wait_for_line(WAITS)
    wait_for_steps(bench, daemon, 3)
    running, reports = bench.gateway.firmware, bench.closing_reports()
    bench.gateway.release("sysupgrade")
    bench.wait_for_end(action)

    assert (running, reports) == (OLD, [])
    assert len(re.findall(WAITS, daemon.log)) == 1
    assert action.status is Status.FINISHED
    assert len(bench.gateway.calls("sysupgrade")) == 1
    release.assert_installed()


def test_firmware_is_not_judged_while_the_device_may_be_about_to_reboot(bench):
    release = Release(bench, ["os"])
    action = release.assign()

    daemon, _ = daemon_killed_while_held(bench, release, "sysupgrade", exit=1)
    daemon.wait_for_line(WAITS)
    bench.gateway.release("sysupgrade")
    wait_for_steps(bench, daemon, 5)

    # A tool that has handed over looks the same.
    assert action.active
    assert bench.closing_reports() == []
    assert bench.gateway.leftovers() == ["fw.bin"]


@pytest.mark.parametrize("part, tool", [("zw", "zwprogrammer"), ("os", "sysupgrade")])
def test_daemon_that_waits_for_a_tool_polls_and_stops_at_once(bench, part, tool):
    release = Release(bench, [part])
    action = release.assign()
    daemon, calls = daemon_killed_while_held(bench, release, tool)
    daemon.wait_for_line(WAITS)

    let_it_poll_again(bench)
    bench.supervisor.stop()
    status = daemon.terminate()

    assert status == 0
    assert action.active
    assert bench.closing_reports() == []
    assert bench.gateway.calls() == calls


def test_stop_leaves_the_image_to_a_tool_that_has_yet_to_open_it(bench):
    release = Release(bench, ["os"])
    release.assign()
    daemon, _ = daemon_killed_while_held(bench, release, "sysupgrade")
    daemon.wait_for_line(WAITS)

    bench.supervisor.stop()
    status = daemon.terminate()
    bench.gateway.release("sysupgrade")
    bench.wait_until(lambda: bench.gateway.firmware == NEW, "the new firmware")

    assert status == 0
    assert bench.gateway.chip("firmware") == release.image


def test_cancelled_installation_is_no_longer_waited_for(bench):
    release = Release(bench, ["zw"])
    action = release.assign()
    daemon, calls = daemon_killed_while_held(bench, release, "zwprogrammer")
    daemon.wait_for_line(WAITS)

    bench.server.cancel(action)
    bench.gateway.bus.call("force_poll")
    bench.wait_for_end(action)

    assert action.status is Status.CANCELED
    assert bench.gateway.calls() == calls
    bench.gateway.release("zwprogrammer")


def test_firmware_waits_for_a_tool_too(bench):
    release = Release(bench, ["zw", "os"])
    radio, firmware = release.modules
    action = bench.assign(radio)
    daemon, _ = daemon_killed_while_held(bench, release, "zwprogrammer")
    daemon.wait_for_line(WAITS)
    bench.server.cancel(action)
    bench.gateway.bus.call("force_poll")
    bench.wait_for_end(action)

    upgrade = bench.assign(firmware)
    bench.gateway.bus.call("force_poll")
    daemon.wait_for_line(WAITS, start=len(daemon.output.lines))
    wait_for_steps(bench, daemon, 3)
    held = bench.gateway.calls("sysupgrade")
    running = bench.gateway.firmware
    bench.gateway.release("zwprogrammer")
    bench.wait_for_end(upgrade)

    assert held == []
    assert running == OLD
    assert upgrade.status is Status.FINISHED
    assert len(bench.gateway.calls("sysupgrade")) == 1
    assert bench.gateway.firmware == NEW


def test_second_tool_waits_for_what_a_killed_one_has_left_behind(bench):
    release = Release(bench, ["zw"])
    tool = (bench.gateway.run_dir / "sbin/zwprogrammer").read_text()
    bench.gateway.tool("zwprogrammer", "#!/bin/sh\nwhile [ ! -e /tmp/go ]; do sleep 0.1; done &\nkill -9 $$\n")
    action = release.assign()
    daemon = release.supervise().daemon
    bench.wait_for_end(action)
    bench.gateway.tool("zwprogrammer", tool)

    second = release.assign()
    bench.gateway.bus.call("force_poll")
    daemon.wait_for_line(WAITS)
    wait_for_steps(bench, daemon, 3)
    held = bench.gateway.calls()
    go = bench.gateway.tmp / "go"
    go.touch()
    bench.wait_for_end(second)
    go.unlink()

    assert action.status is Status.ERROR
    assert held == []
    assert second.status is Status.FINISHED
    release.assert_installed()


def test_service_that_is_started_meanwhile_holds_nothing(bench):
    release = Release(bench, ["plc", "zw"])
    service = bench.gateway.run_dir / "etc/init.d/plc"
    service.write_text(service.read_text() + "\nsleep 1000 >/dev/null 2>&1 &\nls -l /proc/$!/fd >>/tmp/inherited\n")
    action = release.assign()
    release.supervise()

    bench.wait_for_end(action)

    inherited = (bench.gateway.tmp / "inherited").read_text()
    assert " 2 -> " in inherited
    assert "zephran" not in inherited
    assert action.status is Status.FINISHED


@pytest.mark.parametrize("plant", [["mkdir"], ["mkfifo"], ["ln", "-s", "/tmp/planted"]],
                         ids=["directory", "pipe", "link"])
def test_planted_lock_fails_the_installation_before_its_tool(bench, plant):
    bench.gateway.run([*plant, LOCK])
    action = Release(bench, ["zw"]).assign()
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert bench.closing_reports()[0][3][:2] == ["Failed to open file for writing", f"filename: {LOCK}"]
    assert bench.gateway.calls() == []
    assert not (bench.gateway.tmp / "planted").exists()
