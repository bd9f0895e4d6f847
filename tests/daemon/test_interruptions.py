# SPDX-License-Identifier: Apache-2.0
"""The power fails while an installer is running, and the supervisor restarts the daemon."""
import pytest

from hawkbit_server import Status
from release import NEW, OLD, Release, let_it_poll_again

INTERRUPTIONS = [
    ("zw", "zwprogrammer", "before"), ("zw", "zwprogrammer", "midway"), ("zw", "zwprogrammer", "after"),
    ("bl", "flash_erase", "before"), ("bl", "flash_erase", "midway"), ("bl", "flash_erase", "after"),
    ("bl", "dd", "before"), ("bl", "dd", "midway"), ("bl", "dd", "after"),
    ("plc", "plc", "before"), ("plc", "plc", "after"),
    ("opkg", "opkg", "before"), ("opkg", "opkg", "midway"), ("opkg", "opkg", "after"),
]


def cut_power_while_held(bench, tool):
    bench.wait_until(lambda: bench.gateway.is_held(tool), f"{tool} being held")
    bench.supervisor.power_cut()


def assert_closed_once(bench, action, status=Status.FINISHED):
    let_it_poll_again(bench)
    assert action.status is status
    assert not action.spoilt
    assert len(bench.closing_reports()) == 1


@pytest.mark.parametrize("part, tool, moment", INTERRUPTIONS)
def test_interrupted_part_is_installed_again(bench, part, tool, moment):
    release = Release(bench, ["script", part])
    action = release.assign()
    bench.gateway.tell(tool, when=moment, hang=True)
    supervisor = release.supervise()

    cut_power_while_held(bench, tool)
    bench.wait_for_end(action)

    supervisor.daemon.wait_for_line("WARNING .*action=resume message=restarting chunk$")
    assert_closed_once(bench, action)
    # The part twice, the script that was finished before it once.
    assert len(bench.exchanges("artifact")) == 3
    assert bench.reports()[-1][2:] == ("1/1", ["Deployment successful"])
    release.assert_installed()


def test_powerline_service_interrupted_during_its_start_is_installed_again(bench):
    release = Release(bench, ["plc"])
    action = release.assign()
    bench.gateway.tell("plc", hang=True, first=2)
    release.supervise()

    cut_power_while_held(bench, "plc")
    bench.wait_for_end(action)

    assert_closed_once(bench, action)
    assert bench.gateway.calls() == ["plc stop", "plc start"] * 2
    release.assert_installed()


@pytest.mark.parametrize("moment", ["before", "midway"])
def test_firmware_interrupted_before_it_was_written_fails(bench, moment):
    release = Release(bench, ["os", "opkg"])
    action = release.assign()
    bench.gateway.tell("sysupgrade", when=moment, hang=True)
    supervisor = release.supervise()

    cut_power_while_held(bench, "sysupgrade")
    bench.wait_for_end(action)

    assert_closed_once(bench, action, Status.ERROR)
    supervisor.daemon.wait_for_line("WARNING .*action=resume message=resuming deployment$")
    assert bench.closing_reports()[0][3] == [
        "Expected version does not match the version that was found",
        f"expected_version: {NEW}\nfound_version: {OLD}", f"os:firmware:{NEW}"]
    assert bench.gateway.calls("opkg") == []
    assert bench.gateway.leftovers() == []
    assert bench.option("rebooted") == "0"


@pytest.mark.parametrize("cuts", [1, 3])
@pytest.mark.differs("download-directory")
def test_written_firmware_counts_however_often_the_power_fails(bench, cuts):
    release = Release(bench, ["os", "opkg"])
    action = release.assign()
    bench.gateway.tell("sysupgrade", when="after", hang=True)
    supervisor = release.supervise()

    cut_power_while_held(bench, "sysupgrade")
    for _ in range(cuts - 1):
        supervisor.daemon.wait_for_line("event=retrieve_controller_status")
        supervisor.power_cut()
    bench.wait_for_end(action)

    assert_closed_once(bench, action)
    assert bench.gateway.calls("sysupgrade") == ["sysupgrade /tmp/fw.bin"]
    release.assert_installed()


@pytest.mark.parametrize("part", ["os", "opkg"])
def test_download_is_repeated_after_a_power_cut(bench, part):
    release = Release(bench, [part])
    action = release.assign()
    stall = bench.stall("artifact")
    supervisor = release.supervise()
    bench.wait_until(stall.reached.is_set, "the download")

    supervisor.power_cut()
    stall.release()
    bench.wait_for_end(action)

    assert_closed_once(bench, action)
    assert [report[3][0] for report in bench.reports()] == [
        "Installation started", "Chunk deployed", "Deployment successful"]
    release.assert_installed()


def test_package_manager_may_outlive_its_daemon(bench):
    release = Release(bench, ["opkg"])
    action = release.assign()
    bench.gateway.tell("opkg", when="after", hang=True)
    supervisor = release.supervise()
    bench.wait_until(lambda: bench.gateway.is_held("opkg"), "opkg being held")

    supervisor.daemon.kill()
    bench.wait_for_end(action)
    bench.gateway.release("opkg")

    assert_closed_once(bench, action)
    assert bench.reports()[-2][3] == [
        "Chunk deployed", "opkg:tool:1.4",
        "Package tool (1.4) installed in root is up to date.\n"]
    release.assert_installed()


def test_started_soft_release_resumes_without_a_second_consent(bench):
    bench.configure("service.automatic_update", "0")
    release = Release(bench, ["os"])
    action = release.assign("soft")
    supervisor = release.supervise()
    supervisor.daemon.wait_for_line("event=is_automatic_update_disabled")

    bench.gateway.bus.call("accept_deployment")
    bench.wait_for_end(action)

    assert supervisor.reboots == 1
    assert_closed_once(bench, action)
    release.assert_installed()
