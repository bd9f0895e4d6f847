# SPDX-License-Identifier: Apache-2.0
"""The simulated gateway's tools behave like those of a gateway, and misbehave on request."""
import pathlib
import signal

import pytest

from gateway import firmware_image, package
from gateway_helpers import shell, wait_for

OLD, NEW = "2.0_20250101", "2.1_20260101"


@pytest.fixture(name="gateway")
def fixture_gateway(gateway):
    gateway.install_firmware(OLD)
    return gateway


def put(gateway, name, content):
    (gateway.tmp / name).write_bytes(content)


# ---- firmware


def test_firmware_tool_installs_the_version_that_the_image_names(gateway):
    image = firmware_image(NEW)
    put(gateway, "fw.bin", image)

    program = shell(gateway, "sysupgrade nand '/tmp/fw.bin'")

    assert program.exit_status == 10
    assert "Commencing upgrade" in program.out
    assert gateway.firmware == NEW
    assert gateway.chip("firmware") == image
    assert gateway.reboot_request.exists()
    assert gateway.calls() == ["sysupgrade nand /tmp/fw.bin"]


def test_new_firmware_runs_after_the_reboot(gateway):
    put(gateway, "fw.bin", firmware_image(NEW))
    shell(gateway, "sysupgrade /tmp/fw.bin")

    gateway.reboot()

    version = shell(gateway, ". /etc/nevra-version; echo ${FIRMWARE_VERSION}_${FIRMWARE_DATE}")
    assert version.out == NEW + "\n"
    assert not pathlib.Path("/etc/nevra-version").exists()


@pytest.mark.parametrize("arguments, text", [
    ("", "Usage"), ("/tmp/fw.bin more", "Usage"), ("nor /tmp/fw.bin", "Usage"),
    ("/tmp/missing", "not found"), ("/tmp/empty", "not found or empty"),
    ("/tmp/text", "Image check failed"),
])
def test_firmware_tool_refuses(gateway, arguments, text):
    put(gateway, "fw.bin", firmware_image(NEW))
    put(gateway, "empty", b"")
    put(gateway, "text", b"FIRMWARE_VERSION=$(reboot) FIRMWARE_DATE=1\n")

    program = shell(gateway, f"sysupgrade {arguments}")

    assert program.exit_status == 1
    assert text in program.out
    assert gateway.firmware == OLD
    assert not gateway.reboot_request.exists()


# ---- packages


TOOL = package("tool", "1.0", {"tool.txt": b"one\n", "more/tool.conf": b"two\n"})


def install(gateway, content):
    put(gateway, "tool.ipk", content)
    return shell(gateway, "opkg --force-overwrite install /tmp/tool.ipk 2>&1")


def test_installed_package_survives_a_reboot(gateway):
    program = install(gateway, TOOL)
    gateway.reboot()

    assert program.exit_status == 0
    assert program.out == "Installing tool (1.0) to root...\nConfiguring tool.\n"
    assert shell(gateway, "cat /etc/installed/tool.txt /etc/installed/more/tool.conf").out == (
        "one\ntwo\n")
    assert gateway.installed_files == {"tool.txt": b"one\n", "more/tool.conf": b"two\n"}
    assert gateway.packages == {"tool": ("1.0", "installed")}
    assert not pathlib.Path("/etc/installed").exists()


def test_installed_package_is_up_to_date(gateway):
    install(gateway, TOOL)

    program = install(gateway, TOOL)

    assert program.exit_status == 0
    assert program.out == "Package tool (1.0) installed in root is up to date.\n"


def test_other_version_replaces_the_record_and_other_packages_keep_theirs(gateway):
    install(gateway, TOOL)
    install(gateway, package("other", "7", {"other": b""}))

    program = install(gateway, package("tool", "1.1", {"tool.txt": b"new\n"}))

    assert program.exit_status == 0
    assert gateway.packages == {"tool": ("1.1", "installed"), "other": ("7", "installed")}
    assert gateway.installed_files["tool.txt"] == b"new\n"


@pytest.mark.parametrize("content", [b"", b"no archive", TOOL[:len(TOOL) // 2]],
                         ids=["empty", "text", "half"])
def test_corrupt_package_is_refused(gateway, content):
    program = install(gateway, content)

    assert program.exit_status == 255
    assert program.out == ("Collected errors:\n"
                           " * pkg_init_from_file: Malformed package file /tmp/tool.ipk.\n")
    assert gateway.packages == {}
    assert gateway.installed_files == {}


def test_missing_package_and_wrong_arguments_are_refused(gateway):
    missing = shell(gateway, "opkg --force-overwrite install /tmp/none.ipk 2>&1")
    wrong = shell(gateway, "opkg remove tool 2>&1")

    assert (missing.exit_status, wrong.exit_status) == (255, 1)
    assert " * wfopen: /tmp/none.ipk: No such file or directory." in missing.out
    assert "usage" in wrong.out


def test_package_cannot_install_outside_its_directory(gateway):
    program = install(gateway, package("tool", "1", {"../../escaped": b""}))

    assert program.exit_status == 255
    assert "outside /etc/installed" in program.out
    assert gateway.packages == {}


def test_interrupted_package_is_half_installed_until_it_is_installed_again(gateway):
    gateway.tell("opkg", when="midway", hang=True)
    put(gateway, "tool.ipk", TOOL)
    gateway.start_daemon(["opkg", "--force-overwrite", "install", "/tmp/tool.ipk"])
    wait_for(lambda: gateway.is_held("opkg"))

    gateway.reboot()
    interrupted = gateway.packages
    again = install(gateway, TOOL)

    assert interrupted == {"tool": ("1.0", "half-installed")}
    assert again.exit_status == 0
    assert gateway.packages == {"tool": ("1.0", "installed")}
    assert gateway.installed_files == {"tool.txt": b"one\n", "more/tool.conf": b"two\n"}


# ---- flash


@pytest.fixture(name="flash")
def fixture_flash(gateway):
    return gateway.flash("mtd1", b"o" * 16384, erase_size=4096)


def test_flash_is_erased_in_blocks(gateway, flash):
    program = shell(gateway, "flash_erase /dev/mtd1 4096 2")

    assert program.exit_status == 0
    assert "8 Kibyte @ 4096 -- 100 % complete" in program.out
    assert flash.read_bytes() == b"o" * 4096 + b"\377" * 8192 + b"o" * 4096


def test_flash_is_erased_to_its_end_and_written_without_changing_its_size(gateway, flash):
    put(gateway, "image", b"new" * 100)

    program = shell(gateway, "flash_erase /dev/mtd1 0 0 && dd if=/tmp/image of=/dev/mtd1 bs=4096")

    assert program.exit_status == 0
    assert flash.read_bytes() == b"new" * 100 + b"\377" * (16384 - 300)
    assert gateway.calls() == ["flash_erase /dev/mtd1 0 0",
                               "dd if=/tmp/image of=/dev/mtd1 bs=4096"]


@pytest.mark.parametrize("arguments", [
    "/dev/mtd1", "/dev/mtd9 0 0", "/dev/null 0 0", "/dev/mtd1 100 1", "/dev/mtd1 0 5",
    "/dev/mtd1 a 0"])
def test_flash_tool_refuses(gateway, flash, arguments):
    program = shell(gateway, f"flash_erase {arguments}")

    assert program.exit_status == 1
    assert program.err.startswith("flash_erase: error!: ")
    assert flash.read_bytes() == b"o" * 16384


def test_image_larger_than_the_flash_is_refused(gateway, flash):
    put(gateway, "image", b"n" * 16385)

    program = shell(gateway, "dd if=/tmp/image of=/dev/mtd1 bs=4096")

    assert program.exit_status == 1
    assert "No space left on device" in program.err
    assert flash.read_bytes() == b"o" * 16384


@pytest.mark.parametrize("tool, left", [
    ("flash_erase", b"\377" * 8192 + b"o" * 8192),
    ("dd", b"n" * 4096 + b"\377" * 12288)])
def test_interrupted_flash_tool_leaves_half_of_its_result(gateway, flash, tool, left):
    put(gateway, "image", b"n" * 8192)
    gateway.tell(tool, when="midway", kill=signal.SIGKILL)

    shell(gateway, "flash_erase /dev/mtd1 0 0 && dd if=/tmp/image of=/dev/mtd1 bs=4096")

    assert flash.read_bytes() == left


def test_dd_elsewhere_is_the_systems_own(gateway):
    program = shell(gateway, "printf abc | dd of=/tmp/copy bs=1 count=2; cat /tmp/copy")

    assert program.exit_status == 0
    assert program.out == "ab\n"


# ---- chips and services


def test_radio_keeps_its_firmware_over_a_reboot(gateway):
    put(gateway, "zw.bin", b"\0\1radio")

    program = shell(gateway, "zwprogrammer --progzwave '/tmp/zw.bin'")
    gateway.reboot()

    assert program.exit_status == 0
    assert gateway.chip("zwave") == b"\0\1radio"


@pytest.mark.parametrize("arguments, status", [("", 1), ("--erase /tmp/zw.bin", 1),
                                               ("--progzwave /tmp/none", 2)])
def test_radio_programmer_refuses(gateway, arguments, status):
    program = shell(gateway, f"zwprogrammer {arguments}")

    assert program.exit_status == status
    assert gateway.chip("zwave") is None


def test_interrupted_radio_programmer_leaves_half_an_image(gateway):
    gateway.tell("zwprogrammer", when="midway", kill=signal.SIGTERM)
    put(gateway, "zw.bin", b"12345678")

    program = shell(gateway, "exec zwprogrammer --progzwave /tmp/zw.bin")

    assert program.exit_status == -signal.SIGTERM
    assert gateway.chip("zwave") == b"1234"


def test_powerline_chip_loads_its_firmware_when_its_service_starts(gateway):
    put(gateway, "plc.nvm", b"powerline")

    program = shell(gateway, "/etc/init.d/plc start && /etc/init.d/plc stop &&"
                             "cp /tmp/plc.nvm /lib/firmware/plc/user.nvm.tmp")
    before = gateway.chip("plc")
    gateway.reboot()
    started = shell(gateway, "/etc/init.d/plc start")

    assert program.exit_status == started.exit_status == 0
    assert before is None
    assert gateway.chip("plc") == b"powerline"
    assert gateway.calls("plc") == ["plc start", "plc stop", "plc start"]
    assert not pathlib.Path("/lib/firmware/plc").exists()


def test_services_and_preparation_record_their_calls(gateway):
    program = shell(gateway, "/sbin/prepare_download.sh; /etc/init.d/opensync stop;"
                             "/etc/init.d/plc restart")

    assert program.exit_status == 1
    assert gateway.calls() == ["prepare_download.sh ", "opensync stop", "plc restart"]


def test_system_libraries_remain_visible(gateway):
    assert shell(gateway, "ls /lib/firmware/plc /usr/lib/os-release").exit_status == 0


# ---- orders


def test_tool_fails_on_request_and_then_works_again(gateway):
    gateway.tell("prepare_download.sh", exit=3, output=b"<\377>\n", first=2)

    statuses = [shell(gateway, "prepare_download.sh; s=$?; echo; exit $s") for _ in range(3)]

    assert [each.exit_status for each in statuses] == [0, 3, 0]
    assert statuses[1].out == "<\N{REPLACEMENT CHARACTER}>\n\n"


def test_tool_fails_always(gateway):
    gateway.tell("opkg", exit=7, times=None)

    assert [install(gateway, TOOL).exit_status for _ in range(2)] == [7, 7]
    assert gateway.packages == {}


def test_large_output_does_not_stop_a_tool(gateway):
    gateway.tell("opkg", output="x" * 99_999 + "\n")

    program = install(gateway, TOOL)

    assert program.exit_status == 0
    assert program.out.startswith("x" * 99_999 + "\nInstalling tool")
    assert gateway.packages == {"tool": ("1.0", "installed")}


def test_tool_hangs_until_it_is_released(gateway):
    gateway.tell("opensync", hang=True)
    program = gateway.start_daemon(["/etc/init.d/opensync", "stop"])
    wait_for(lambda: gateway.is_held("opensync"))
    running = program.is_running()

    gateway.release("opensync")

    assert running
    assert program.wait() == 0


def test_order_for_an_unknown_moment_is_refused(gateway):
    with pytest.raises(ValueError, match="soon"):
        gateway.tell("opkg", when="soon")


def test_removed_tool_is_missing(gateway):
    gateway.take_away("zwprogrammer")
    gateway.take_away("opensync")

    program = shell(gateway, "test ! -e /etc/init.d/opensync && zwprogrammer --progzwave /tmp/x")

    assert program.exit_status == 127
    with pytest.raises(FileNotFoundError, match="zwprogrammer"):
        gateway.take_away("zwprogrammer")
