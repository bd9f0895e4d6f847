# SPDX-License-Identifier: Apache-2.0
"""Deployments that are to be carried out at once."""
from flow import SUCCESSFUL, deployed, polls_again, reports, start_known, started
from release import Release

INSTALLED_PACKAGE = "Installing {0} (1.4) to root...\nConfiguring {0}."


def test_release_of_every_part_type(home):
    release = Release(home, packages=("tool", "library"))
    supervisor = release.supervise()
    home.wait_until_registered()

    action = release.assign()
    home.poll_now()
    record = home.wait_for_end(action)
    polls_again(home)

    chunks = {module.type: module.chunk for module in release.modules if module.type != "opkg"}
    packages = {module.chunk: module.name.rpartition("-")[2]
                for module in release.modules if module.type == "opkg"}
    reported = reports(record)
    assert home.server.action(action) == record
    assert record.status == "finished"
    assert reported[:10] == [report for part in ("os", "script", "zw", "bl", "plc")
                             for report in (started(chunks[part]), deployed(chunks[part]))]
    # The server does not order modules of one type.
    in_order = [report.messages[1] for report in reported[10:14:2]]
    assert sorted(in_order) == sorted(packages)
    assert reported[10:] == [
        *(report for chunk in in_order
          for report in (started(chunk), deployed(chunk, INSTALLED_PACKAGE.format(packages[chunk])))),
        SUCCESSFUL]
    assert supervisor.reboots == 1
    assert home.server.target(home.device).update_status == "in_sync"
    release.assert_installed()


def test_second_deployment_follows_the_first(home):
    start_known(home)
    ended = []

    for name in ("one", "two"):
        action = home.assign(home.script(name, f"echo did {name}"))
        home.poll_now()
        ended.append(home.wait_for_end(action))
    polls_again(home)

    chunks = [f"script:{home.label}-{name}:1.0" for name in ("one", "two")]
    assert [record.status for record in ended] == ["finished", "finished"]
    assert [reports(record) for record in ended] == [
        [started(chunk), deployed(chunk, f"did {name}"), SUCCESSFUL]
        for chunk, name in zip(chunks, ("one", "two"), strict=True)]
    assert home.server.action(action) == ended[-1]


def test_version_that_is_recorded_is_not_fetched_again(home):
    release = Release(home, ["plc"])
    release.supervise()
    home.wait_until_registered()
    first = release.assign()
    home.poll_now()
    home.wait_for_end(first)

    second = release.assign()
    home.poll_now()
    record = home.wait_for_end(second)

    assert record.status == "finished"
    assert "download" not in [entry.type for entry in record.entries]
    assert any(text.startswith("Already installed\nInstalled plc 5 on 20") for text in record.reported)
    assert home.gateway.calls("plc") == ["plc stop", "plc start"]
    release.assert_installed()
