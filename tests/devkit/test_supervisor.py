# SPDX-License-Identifier: Apache-2.0
"""The supervisor restarts the daemon, and reboots the gateway on request."""
import signal

import pytest

from gateway import Supervisor, firmware_image
from gateway_helpers import wait_for

NEW = "2.1_20260101"


def supervised(gateway, script, **options):
    return Supervisor(gateway, lambda *more: gateway.start_daemon(["sh", "-c", script, "it", *more]),
                      **options)


def test_supervisor_restarts_the_daemon(gateway):
    with supervised(gateway, "exec sleep 100") as supervisor:
        first = supervisor.daemon
        first.kill()
        wait_for(lambda: supervisor.daemon is not first)

        assert supervisor.daemon.is_running()
        assert supervisor.reboots == 0


def test_supervisor_reboots_on_request_of_the_firmware_tool(gateway):
    (gateway.tmp / "fw.bin").write_bytes(firmware_image(NEW))
    with supervised(gateway, 'echo started "$@"; test -n "$1" || sysupgrade /tmp/fw.bin;'
                             "exec sleep 100") as supervisor:
        wait_for(lambda: len(supervisor.daemons) == 2)
        supervisor.daemon.wait_for_line("^started --dormant true$")

        assert supervisor.reboots == 1
        assert supervisor.daemons[0].exit_status == -signal.SIGKILL
        assert gateway.leftovers() == []
        assert gateway.firmware == NEW
        assert not gateway.reboot_request.exists()


def test_restarted_daemon_has_the_arguments_of_its_boot(gateway):
    with supervised(gateway, 'echo started "$@"; exec sleep 100') as supervisor:
        supervisor.power_cut("--more")
        after_boot = supervisor.daemon
        after_boot.kill()
        wait_for(lambda: supervisor.daemon is not after_boot)
        supervisor.daemon.wait_for_line("^started --more$")

        supervisor.power_cut()
        supervisor.daemon.wait_for_line("^started$")


def test_supervisor_cuts_the_power(gateway):
    with supervised(gateway, 'touch /tmp/mine; echo started "$@"; exec sleep 100') as supervisor:
        supervisor.daemon.wait_for_line("^started$")
        supervisor.power_cut("--more")

        supervisor.daemon.wait_for_line("^started --more$")
        assert supervisor.daemons[0].exit_status == -signal.SIGKILL
        assert supervisor.reboots == 0


def test_supervisor_gives_up_a_daemon_that_always_ends(gateway):
    supervisor = supervised(gateway, "echo broken; exit 5", most_starts=3).start()

    with pytest.raises(AssertionError, match=r"3 times and has ended with 5(.|\n)*broken"):
        wait_for(supervisor.check)
    assert len(supervisor.daemons) == 3
