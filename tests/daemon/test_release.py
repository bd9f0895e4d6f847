# SPDX-License-Identifier: Apache-2.0
"""A complete release in one deployment: every part type, with a reboot in between."""
import re

import pytest

from hawkbit_server import Status
from release import NEW, Release, failure, let_it_poll_again


@pytest.mark.differs("download-directory")
def test_release_of_every_part_in_the_order_of_the_installers(bench):
    release = Release(bench)
    action = release.assign()
    supervisor = release.supervise()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert bench.gateway.calls() == [
        "prepare_download.sh ", "opensync stop", "sysupgrade /tmp/fw.bin",
        "zwprogrammer --progzwave /tmp/zw.bin",
        "flash_erase /dev/mtd1 0 0", "dd if=/tmp/loader.bin of=/dev/mtd1 bs=4096",
        "plc stop", "plc start", "opkg --force-overwrite install /tmp/tool.ipk"]
    assert supervisor.reboots == 1
    assert len(supervisor.daemons) == 2
    assert [(report[2], report[3][:2]) for report in bench.reports()] == [
        ("0/6", ["Installation started", f"os:firmware:{NEW}"]),
        ("1/6", ["Chunk deployed", f"os:firmware:{NEW}"]),
        ("1/6", ["Installation started", "script:settings:3"]),
        ("2/6", ["Chunk deployed", "script:settings:3"]),
        ("2/6", ["Installation started", "zw:radio:6"]),
        ("3/6", ["Chunk deployed", "zw:radio:6"]),
        ("3/6", ["Installation started", "bl:loader:7"]),
        ("4/6", ["Chunk deployed", "bl:loader:7"]),
        ("4/6", ["Installation started", "plc:powerline:5"]),
        ("5/6", ["Chunk deployed", "plc:powerline:5"]),
        ("5/6", ["Installation started", "opkg:tool:1.4"]),
        ("6/6", ["Chunk deployed", "opkg:tool:1.4"]),
        ("6/6", ["Deployment successful"])]
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", bench.option("installation_time_os"))
    supervisor.daemon.wait_for_line("WARNING .*message=forcing poll after installer reboot$")
    release.assert_installed()


@pytest.mark.differs("download-directory")
def test_installed_release_is_not_installed_again(bench):
    release = Release(bench)
    first = release.assign()
    release.supervise()
    bench.wait_for_end(first)
    downloads = len(bench.exchanges("artifact"))
    reports = len(bench.reports())
    calls = len(bench.gateway.calls())

    second = release.assign()
    bench.gateway.bus.call("force_poll")
    bench.wait_for_end(second)

    assert second.status is Status.FINISHED
    # There is no record of what a script or a package has installed.
    assert len(bench.exchanges("artifact")) == downloads + 2
    assert bench.gateway.calls()[calls:] == ["opkg --force-overwrite install /tmp/tool.ipk"]
    deployed = [report[3] for report in bench.reports()[reports:] if "Chunk deployed" in report[3]]
    assert [details[1] for details in deployed] == [
        f"os:firmware:{NEW}", "script:settings:3", "zw:radio:6", "bl:loader:7", "plc:powerline:5",
        "opkg:tool:1.4"]
    for details in (deployed[0], *deployed[2:5]):
        part, _, version = details[1].split(":")
        assert details[2].startswith(f"Already installed\nInstalled {part} {version} on 20")
    release.assert_installed()


def test_release_survives_a_power_cut_in_every_part(bench):
    release = Release(bench)
    action = release.assign()
    tools = [("sysupgrade", "after"), ("zwprogrammer", "midway"), ("dd", "midway"), ("plc", "after"),
             ("opkg", "midway")]
    for tool, moment in tools:
        bench.gateway.tell(tool, when=moment, hang=True)
    supervisor = release.supervise()

    for tool, _ in tools:
        bench.wait_until(lambda held=tool: bench.gateway.is_held(held), f"{tool} being held")
        supervisor.power_cut()
    bench.wait_for_end(action)
    let_it_poll_again(bench)

    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert len(bench.closing_reports()) == 1
    assert len(supervisor.daemons) == 6
    assert [len(bench.gateway.calls(tool)) for tool, _ in tools] == [1, 2, 2, 3, 2]
    release.assert_installed()


def test_next_release_completes_a_failed_one(bench):
    release = Release(bench, ["plc", "bl", "zw"])
    failing = release.assign()
    bench.gateway.tell("flash_erase", exit=1)
    release.supervise()

    failure(bench, failing, "bl")
    after_failure = bench.option("version_zw"), bench.option("version_plc"), bench.gateway.calls("plc")
    completing = release.assign()
    bench.gateway.bus.call("force_poll")
    bench.wait_for_end(completing)
    let_it_poll_again(bench)

    assert after_failure == ("6", None, [])
    assert completing.status is Status.FINISHED
    assert len(bench.gateway.calls("zwprogrammer")) == 1
    assert len(bench.closing_reports()) == 2
    release.assert_installed()
