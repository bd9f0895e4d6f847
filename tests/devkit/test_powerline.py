# SPDX-License-Identifier: Apache-2.0
"""The simulated powerline network answers like working and like broken modems."""
import time

import pytest

from gateway import Powerline, powerline_image
from gateway_helpers import TIMEOUT, shell, wait_for

CONTROLLER, ADAPTER = "02:00:00:00:00:01", "02:00:00:00:00:0a"
VERSION = "SYSTEM.GENERAL.FW_VERSION"
END_DEVICE = "DHCP.GENERAL.ENABLED_IPV4"
ARM = "-p FLUPGRADE.GENERAL.SOURCE=L2 -p FLUPGRADE.GENERAL.SECTION=OSUP -p FLUPGRADE.GENERAL.START=YES"


@pytest.fixture(name="powerline")
def fixture_powerline(gateway):
    return Powerline(gateway)


@pytest.fixture(name="adapter")
def fixture_adapter(powerline):
    return powerline.add(ADAPTER, serial="SN-1", firmware="1.2.3")


@pytest.fixture(name="ask")
def fixture_ask(gateway, powerline):
    def ask(words, mac=ADAPTER, interface="br-lan", password="lan-secret"):
        return shell(gateway, f"configlayer -i {interface} -w {password} -m {mac} {words}")
    return ask


def push(gateway, content, arguments=f"br-lan -m {ADAPTER}"):
    (gateway.tmp / "plc.bin").write_bytes(content)
    return shell(gateway, f"l2fwserver /tmp/plc.bin {arguments}")


# ---- reading


def test_several_parameters_are_read_in_the_requested_order(gateway, adapter, ask):
    program = ask(f"-o GET -p SYSTEM.PRODUCTION.SERIAL_NUMBER -p {VERSION} -p {END_DEVICE}")

    assert program.exit_status == 0
    assert program.out == (f"SYSTEM.PRODUCTION.SERIAL_NUMBER=SN-1\n{VERSION}=1.2.3\n"
                           f"{END_DEVICE}=YES\n")
    assert gateway.calls() == [f"configlayer -i br-lan -w lan-secret -m {ADAPTER} -o GET "
                               f"-p SYSTEM.PRODUCTION.SERIAL_NUMBER -p {VERSION} -p {END_DEVICE}"]


def test_unknown_parameter_is_reported_in_its_value(adapter, ask):
    adapter.forget()

    program = ask(f"-o GET -p {END_DEVICE} -p {VERSION}")

    assert program.exit_status == 0
    assert program.out == f"{END_DEVICE}=ERROR -36\n{VERSION}=1.2.3\n"


def test_values_are_stored_unchanged(adapter, ask):
    adapter.set("SYSTEM.PRODUCTION.DEVICE_NAME", r"a=b  \n * $(reboot)")

    program = ask("-o GET -p SYSTEM.PRODUCTION.DEVICE_NAME")

    assert program.out == "SYSTEM.PRODUCTION.DEVICE_NAME=a=b  \\n * $(reboot)\n"


def test_gateways_own_modem_lists_the_present_modems(powerline, adapter, ask):
    other = powerline.add("02:00:00:00:00:0b")
    question = "-o GET -p DIDMNG.GENERAL.MACS"

    before = ask(question, CONTROLLER)
    adapter.unplug()
    other.fall_silent()
    after = ask(question, CONTROLLER)
    adapter.plug_in()
    powerline.report_macs("nonsense,")
    ordered = ask(question, CONTROLLER)
    powerline.report_macs(None)
    again = ask(question, CONTROLLER)

    assert before.out == again.out == f"DIDMNG.GENERAL.MACS={CONTROLLER},{ADAPTER},{other.mac}\n"
    assert after.out == f"DIDMNG.GENERAL.MACS={CONTROLLER},{other.mac}\n"
    assert ordered.out == "DIDMNG.GENERAL.MACS=nonsense,\n"


def test_other_modems_list_nothing(adapter, ask):
    assert ask("-o GET -p DIDMNG.GENERAL.MACS").out == "DIDMNG.GENERAL.MACS=ERROR -36\n"


@pytest.mark.parametrize("differing, status, text", [
    ({"password": "wrong"}, 3, f"{ADAPTER} refuses this password"),
    ({"interface": "eth9"}, 1, f"no answer from {ADAPTER} on eth9"),
    ({"mac": "02:00:00:00:00:99"}, 1, "no answer from 02:00:00:00:00:99 on br-lan"),
])
def test_modem_that_cannot_be_reached_or_refuses(adapter, ask, differing, status, text):
    program = ask(f"-o GET -p {VERSION}", **differing)

    assert (program.exit_status, program.out) == (status, "")
    assert program.err == f"configlayer: {text}\n"


@pytest.mark.parametrize("make_unreachable", ["fall_silent", "unplug"])
def test_silent_modem_is_given_up_at_once(adapter, ask, make_unreachable):
    getattr(adapter, make_unreachable)()

    begin = time.monotonic()
    silent = ask(f"-t 5000 -r 15 -o GET -p {VERSION}")
    spent = time.monotonic() - begin
    adapter.plug_in()

    assert (silent.exit_status, silent.out) == (1, "")
    assert spent < TIMEOUT
    assert ask(f"-o GET -p {VERSION}").out == f"{VERSION}=1.2.3\n"


def test_modem_hangs_until_it_is_released_and_others_answer(gateway, powerline, adapter, ask):
    adapter.hang()
    program = gateway.start_daemon(["configlayer", "-i", "br-lan", "-w", "lan-secret", "-m", ADAPTER,
                                    "-o", "GET", "-p", VERSION])
    wait_for(lambda: adapter.is_held)
    running = program.is_running()
    other = ask(f"-o GET -p {VERSION}", CONTROLLER)

    adapter.release()

    assert running
    assert other.out == f"{VERSION}=1.0.0\n"
    assert program.wait() == 0
    assert program.out == f"{VERSION}=1.2.3\n"


@pytest.mark.parametrize("words", [
    "", "-o GET", f"-p {VERSION}", f"-o FETCH -p {VERSION}", f"-o GET -p {VERSION} more",
    f"-x -o GET -p {VERSION}"])
def test_wrong_arguments_are_refused(adapter, ask, words):
    program = ask(words)

    assert program.exit_status == 2
    assert "usage" in program.err


def test_password_with_a_blank_is_split(adapter, ask):
    assert ask(f"-o GET -p {VERSION}", password="lan secret").exit_status == 2


def test_without_a_network_nobody_answers(gateway):
    program = shell(gateway, f"configlayer -i br-lan -w x -m {ADAPTER} -o GET -p {VERSION}")

    assert program.exit_status == 1
    assert "no answer" in program.err


# ---- new firmware


def test_new_firmware_runs_after_the_reset_and_stays(gateway, adapter, ask):
    armed = ask(f"-o SET {ARM}")
    pushed = push(gateway, powerline_image("2.0.1"))
    status = ask("-o GET -p FLUPGRADE.GENERAL.STATUS -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO")
    before = adapter.firmware
    reset = ask("-o SET -p SYSTEM.GENERAL.HW_RESET=1")
    gateway.reboot()

    assert [each.exit_status for each in (armed, pushed, status, reset)] == [0] * 4
    assert status.out == ("FLUPGRADE.GENERAL.STATUS=COMPLETE\n"
                          "FLUPGRADE.GENERAL.LAST_UPGRADE_INFO=OK\n")
    assert before == "1.2.3"
    assert ask(f"-o GET -p {VERSION} -p FLUPGRADE.GENERAL.STATUS").out == (
        f"{VERSION}=2.0.1\nFLUPGRADE.GENERAL.STATUS=IDLE\n")


@pytest.mark.parametrize("half_armed", [
    "", "-p FLUPGRADE.GENERAL.START=YES",
    "-p FLUPGRADE.GENERAL.SOURCE=L2 -p FLUPGRADE.GENERAL.SECTION=OSUP",
    "-p FLUPGRADE.GENERAL.SOURCE=TFTP -p FLUPGRADE.GENERAL.SECTION=OSUP -p FLUPGRADE.GENERAL.START=YES",
])
def test_modem_accepts_firmware_only_when_armed(gateway, adapter, ask, half_armed):
    if half_armed:
        ask(f"-o SET {half_armed}")

    program = push(gateway, powerline_image("2.0.1"))
    ask("-o SET -p SYSTEM.GENERAL.HW_RESET=1")

    assert program.exit_status == 1
    assert program.err == f"l2fwserver: {ADAPTER} does not ask for firmware\n"
    assert adapter.firmware == "1.2.3"


@pytest.mark.parametrize("content", [b"no version\n", b"GHN_FW_VERSION=$(reboot)\n"])
def test_image_that_names_no_version_is_not_run(gateway, adapter, ask, content):
    ask(f"-o SET {ARM}")

    push(gateway, content)
    status = ask("-o GET -p FLUPGRADE.GENERAL.STATUS -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO")
    ask("-o SET -p SYSTEM.GENERAL.HW_RESET=1")

    assert status.out == ("FLUPGRADE.GENERAL.STATUS=ERROR\n"
                          "FLUPGRADE.GENERAL.LAST_UPGRADE_INFO=INVALID_IMAGE\n")
    assert adapter.firmware == "1.2.3"


@pytest.mark.parametrize("arguments", ["br-lan", f"br-lan -x {ADAPTER}", f"br-lan -m {ADAPTER} more"])
def test_firmware_server_refuses_wrong_arguments(gateway, adapter, arguments):
    assert push(gateway, powerline_image("2"), arguments).exit_status == 2


def test_firmware_server_refuses_a_missing_image(gateway, adapter):
    program = shell(gateway, f"l2fwserver /tmp/none br-lan -m {ADAPTER}")

    assert program.exit_status == 2
    assert "cannot read /tmp/none" in program.err


def test_modem_keeps_the_old_firmware_once_at_a_reset(gateway, adapter, ask):
    adapter.keep_firmware_at_reset()
    for version in ("2.0.1", "2.0.2"):
        ask(f"-o SET {ARM}")
        push(gateway, powerline_image(version))
        ask("-o SET -p SYSTEM.GENERAL.HW_RESET=1")
        if version == "2.0.1":
            assert adapter.firmware == "1.2.3"

    assert adapter.firmware == "2.0.2"


def test_modem_does_not_return_from_its_reset(gateway, adapter, ask):
    adapter.vanish_at_reset()
    ask(f"-o SET {ARM}")
    push(gateway, powerline_image("2.0.1"))

    reset = ask("-o SET -p SYSTEM.GENERAL.HW_RESET=1")

    assert reset.exit_status == 0
    assert not adapter.is_present
    assert adapter.firmware == "1.2.3"
    assert ask(f"-o GET -p {VERSION}").exit_status == 1


def test_modem_leaves_during_its_update(gateway, adapter, ask):
    ask(f"-o SET {ARM}")
    adapter.vanish_while_pushed()

    program = push(gateway, powerline_image("2.0.1", size=4096))

    assert program.exit_status == 1
    assert program.err == f"l2fwserver: lost {ADAPTER} after 2048 bytes\n"
    assert not adapter.is_present
    assert adapter.firmware == "1.2.3"


@pytest.mark.parametrize("assignment", [f"{VERSION}=9", "SYSTEM.GENERAL.HW_RESET=2", "NONSENSE=1"])
def test_what_cannot_be_set_is_refused(adapter, ask, assignment):
    program = ask(f"-o SET -p {assignment}")

    assert program.exit_status == 1
    assert program.out == assignment.split("=")[0] + "=ERROR -36\n"
    assert adapter.firmware == "1.2.3"


# ---- the gateway's side


def test_gateway_is_configured_for_its_network(gateway, powerline):
    assert "option interface 'br-lan'" in gateway.config("ghn")
    assert "option password 'lan-secret'" in gateway.config("ghn")
    assert f"option LirnMacAddress '{CONTROLLER}'" in gateway.config("nevra")

    powerline.configure(password="", controller="nonsense")
    powerline.configure_own_password("other")

    assert "password" not in gateway.config("ghn")
    assert "option LirnMacAddress 'nonsense'" in gateway.config("nevra")
    assert "option PwdGhnConfig 'other'" in gateway.config("nevra-private")


def test_powerline_tools_take_orders_like_the_others(gateway, adapter, ask):
    gateway.tell("configlayer", exit=7, output="broken\n")

    ordered, normal = (ask(f"-o GET -p {VERSION}") for _ in range(2))

    assert (ordered.exit_status, ordered.out) == (7, "broken\n")
    assert normal.exit_status == 0
