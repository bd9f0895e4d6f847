# SPDX-License-Identifier: Apache-2.0
"""The configuration store: missing, broken, or overlaid by run-time state."""
import pytest

from hawkbit_server import Status

UNREADABLE = ("ERROR .*message=option cannot be read, automatic updates count as off"
              " package=zephran ")
DEFAULT_SET = "WARNING .*message=missing config entry, setting default enabled"


def test_gateway_without_the_library_still_installs(make_bench):
    bench = make_bench(uci=False)
    before = bench.gateway.config("zephran")
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("message=disabling update schedule due to exception$")
    daemon.wait_for_line(DEFAULT_SET)
    assert bench.gateway.config("zephran") == before
    assert action.status is Status.FINISHED


@pytest.mark.parametrize("broken", ["config service 'service\n\toption\n",
                                    "config service 'service'\n\tlist automatic_update '0'\n"],
                         ids=["half a file", "a list"])
def test_deployment_waits_while_the_switch_cannot_be_read(bench, broken):
    whole = bench.gateway.config("zephran")
    bench.gateway.config("zephran", broken)
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    daemon.wait_for_line(UNREADABLE)
    daemon.wait_for_line("event=tick .*from_state=10 to_state=10$")
    assert action.status is not Status.FINISHED
    assert bench.gateway.config("zephran") == broken
    bench.gateway.config("zephran", whole)
    bench.wait_for_end(action)

    assert "setting default enabled" not in daemon.out
    assert action.status is Status.FINISHED


def test_run_time_state_overrides_the_stored_configuration(bench):
    state = bench.gateway.tmp / "state"
    state.mkdir(mode=0o755)
    (state / "zephran").write_text("zephran.service.automatic_update='0'\n")
    action = bench.assign(bench.script("one", "echo fine"), type="soft")
    daemon = bench.start()

    daemon.wait_for_line("event=tick .*from_state=10 to_state=10$")
    (state / "zephran").unlink()
    bench.wait_for_end(action)

    assert bench.option("automatic_update") == "1"
    assert action.status is Status.FINISHED
