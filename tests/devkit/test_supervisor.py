"""The supervisor restarts the daemon, and reboots the gateway when that is asked for."""
import signal
import time

import pytest

from gateway import Gateway, Supervisor, firmware_image

NEW = "2.1_20260101"
PATIENCE = 60


@pytest.fixture(name="gateway")
def fixture_gateway(tmp_path):
    with Gateway(tmp_path / "gateway") as gateway:
        yield gateway


def wait_for(condition):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.02)


def supervised(gateway, script, **options):
    return Supervisor(gateway, lambda *more: gateway.start_daemon(["sh", "-c", script, "it", *more]),
                      **options)


def test_supervisor_starts_the_daemon_again(gateway):
    with supervised(gateway, "exec sleep 100") as supervisor:
        first = supervisor.daemon
        first.kill()
        wait_for(lambda: supervisor.daemon is not first)

        assert supervisor.daemon.is_running()
        assert supervisor.reboots == 0


def test_supervisor_reboots_when_the_firmware_tool_asks(gateway):
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


def test_supervisor_cuts_the_power(gateway):
    with supervised(gateway, 'touch /tmp/mine; echo started "$@"; exec sleep 100') as supervisor:
        supervisor.daemon.wait_for_line("^started$")
        supervisor.power_cut("--more")

        supervisor.daemon.wait_for_line("^started --more$")
        assert supervisor.daemons[0].exit_status == -signal.SIGKILL
        assert supervisor.reboots == 0


def test_supervisor_gives_up_a_daemon_that_never_stays(gateway):
    supervisor = supervised(gateway, "echo broken; exit 5", most_starts=3).start()

    with pytest.raises(AssertionError, match=r"3 times and has ended with 5(.|\n)*broken"):
        wait_for(supervisor.check)
    assert len(supervisor.daemons) == 3
