# SPDX-License-Identifier: Apache-2.0
"""Firmware, packages, boot loaders and chips: how the daemon uses the gateway's tools."""
import signal

import pytest

from gateway import firmware_image, package
from hawkbit_server import Status
from release import ERASE_SIZE, FLASH_SIZE, LOADER, NEW, OLD, PARTITION, Release, closing_report, failure

# ---- firmware


def firmware(bench, content, version=NEW):
    return bench.server.software_module("os", "firmware", version, {"fw.bin": content})


def test_unexpected_firmware_version_fails_once_and_the_next_deployment_succeeds(bench):
    release = Release(bench, ["os", "opkg"])
    _, tool = release.modules
    broken = bench.assign(firmware(bench, firmware_image("2.0.9_20251231")), tool)
    supervisor = release.supervise()

    bench.wait_for_end(broken)
    report = closing_report(bench)
    calls = bench.gateway.calls("opkg")
    left = bench.gateway.leftovers()
    recorded = bench.option("version_os"), bench.option("previous_version_os")
    good = release.assign()
    bench.gateway.bus.call("force_poll")
    bench.wait_for_end(good)

    assert broken.status is Status.ERROR
    assert report[3] == ["Expected version does not match the version that was found",
                         f"expected_version: {NEW}\nfound_version: 2.0.9_20251231",
                         f"os:firmware:{NEW}"]
    assert calls == left == []
    assert recorded == (None, None)
    assert good.status is Status.FINISHED
    assert supervisor.reboots == 2
    assert bench.option("version_os") == NEW
    assert bench.option("previous_version_os") == "2.0.9_20251231"
    assert bench.gateway.packages == {"tool": ("1.4", "installed")}


def test_invalid_firmware_image_is_refused_by_the_tool(bench):
    release = Release(bench, ["os"])
    action = bench.assign(firmware(bench, b"no image"))
    supervisor = release.supervise()

    details = failure(bench, action, "os")

    assert "Image check failed." in details
    assert bench.option("rebooted") == "0"
    assert supervisor.reboots == 0
    assert bench.gateway.firmware == OLD


@pytest.mark.differs("firmware-handover")
@pytest.mark.parametrize("stream, status", [("stdout", 246), ("stderr", 10), ("stderr", 246)])
def test_firmware_tool_that_ends_in_an_unknown_way_has_failed(bench, stream, status):
    tool = bench.gateway.run_dir / "sbin/sysupgrade"
    tool.write_text(f"#!/bin/sh\necho Commencing upgrade >/dev/{stream}\nexit {status}\n")
    action = Release(bench, ["os"]).assign()
    daemon = bench.start()

    details = failure(bench, action, "os")

    shown = "Commencing upgrade\n" if stream == "stdout" else ""
    assert details.rstrip() == f"program_exit_code: {status}\nprogram_output: {shown}".rstrip()
    assert ("Commencing upgrade" in daemon.err) == (stream == "stderr")
    assert bench.gateway.firmware == OLD


@pytest.mark.differs("firmware-handover")
@pytest.mark.parametrize("stream", ["stdout", "stderr"])
def test_firmware_tool_that_succeeds_is_believed_only_with_the_new_version(bench, stream):
    tool = bench.gateway.run_dir / "sbin/sysupgrade"
    tool.write_text(f"#!/bin/sh\necho Commencing upgrade >/dev/{stream}\n")
    action = Release(bench, ["os"]).assign()
    bench.start()

    details = failure(bench, action, "os",
                      "Expected version does not match the version that was found")

    assert details == f"expected_version: {NEW}\nfound_version: {OLD}"


def test_running_firmware_is_not_written_again(bench):
    release = Release(bench, ["os"])
    bench.gateway.install_firmware(NEW)
    action = release.assign()
    daemon = bench.start()

    bench.wait_for_end(action)

    daemon.wait_for_line("INFO .*action=start_installation message=version is already installed")
    assert action.status is Status.FINISHED
    assert bench.gateway.calls() == ["prepare_download.sh "]
    assert bench.option("rebooted") == "0"
    assert bench.option("version_os") == NEW


def test_recorded_firmware_version_is_not_downloaded(bench):
    bench.gateway.config("zephran", bench.gateway.config("zephran") +
                         f"\toption version_os '{NEW}'\n"
                         "\toption installation_time_os '2026-01-02T03:04:05Z'\n")
    action = Release(bench, ["os"]).assign()
    bench.start()

    bench.wait_for_end(action)

    assert bench.exchanges("artifact") == []
    assert bench.reports()[0][3] == [
        "Chunk deployed", f"os:firmware:{NEW}",
        f"Already installed\nInstalled os {NEW} on 2026-01-02T03:04:05Z\n"]
    assert action.status is Status.FINISHED


def test_gateway_with_an_unknown_firmware_version_gets_none(bench):
    action = Release(bench, ["os"]).assign()
    (bench.gateway.run_dir / "etc/nevra-version").unlink()
    bench.start()

    details = failure(bench, action, "os")

    assert "/etc/nevra-version" in details
    assert bench.gateway.calls("sysupgrade") == []


@pytest.mark.differs("download-directory")
def test_flash_type_is_passed_to_the_firmware_tool(bench):
    release = Release(bench, ["os"])
    action = release.assign()
    release.supervise(properties={"installed_flash_type": "nand"})

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.gateway.calls("sysupgrade") == ["sysupgrade nand /tmp/fw.bin"]


@pytest.mark.differs("download-directory")
def test_failed_preparations_do_not_prevent_the_installation_of_firmware(bench):
    release = Release(bench, ["os"])
    action = release.assign()
    bench.gateway.tell("prepare_download.sh", exit=1)
    bench.gateway.tell("opensync", kill=signal.SIGKILL)
    release.supervise()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.gateway.calls() == ["prepare_download.sh ", "opensync stop",
                                     "sysupgrade /tmp/fw.bin"]
    release.assert_installed()


@pytest.mark.differs("download-directory")
def test_firmware_is_installed_without_the_opensync_service(bench):
    release = Release(bench, ["os"])
    bench.gateway.take_away("opensync")
    action = release.assign()
    release.supervise()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.gateway.calls() == ["prepare_download.sh ", "sysupgrade /tmp/fw.bin"]


# ---- packages


def test_package_is_installed_and_its_output_is_reported(bench):
    release = Release(bench, ["opkg"])
    action = release.assign()
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.FINISHED
    assert bench.reports()[1][3] == ["Chunk deployed", "opkg:tool:1.4",
                                     "Installing tool (1.4) to root...\nConfiguring tool.\n"]
    release.assert_installed()


@pytest.mark.differs("download-directory")
def test_corrupt_package_leaves_nothing_behind(bench):
    content = package("tool", "1.4", {"tool.txt": b"the tool\n"})
    action = bench.assign(bench.server.software_module(
        "opkg", "tool", "1.4", {"tool.ipk": content[:len(content) // 2]}))
    bench.start()

    details = failure(bench, action, "opkg", "Failed to install the package")

    assert details == ("installer_output: Collected errors:\n"
                       " * pkg_init_from_file: Malformed package file /tmp/tool.ipk.\n")
    assert bench.gateway.packages == {}


# ---- boot loaders


def test_identical_boot_loader_is_not_written_again(bench):
    release = Release(bench, ["bl"])
    release.flash.write_bytes(LOADER.ljust(FLASH_SIZE, b"\377"))
    action = release.assign()
    daemon = bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    daemon.wait_for_line("INFO .*event=skip_installation "
                         "message=artifact is identical to flashed content$")
    assert action.status is Status.FINISHED
    assert bench.gateway.calls() == []
    release.assert_installed()


@pytest.mark.parametrize("mtd, file", [(["--bootloader-mtd", "mtd9"], "/sys/class/mtd/mtd9/erasesize"),
                                       ([], "/sys/class/mtd//erasesize")], ids=["other", "none"])
def test_boot_loader_without_a_partition_fails(bench, mtd, file):
    action = Release(bench, ["bl"]).assign()
    bench.start(*mtd)

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert closing_report(bench)[3] == ["Failed to open file for reading", f"filename: {file}",
                                        "bl:loader:7"]
    assert bench.gateway.calls() == []


@pytest.mark.differs("download-directory")
def test_writing_the_boot_loader_is_retried(bench):
    release = Release(bench, ["bl"])
    action = release.assign()
    bench.gateway.tell("dd", when="midway", exit=1, times=3)
    bench.gateway.tell("flash_erase", exit=1, first=3)
    bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    write, erase = f"dd if=/tmp/loader.bin of=/dev/mtd1 bs={ERASE_SIZE}", "flash_erase /dev/mtd1 0 0"
    assert action.status is Status.FINISHED
    # A failed erase is retried before anything is written.
    assert bench.gateway.calls() == [erase, write, erase, write, erase, erase, write, erase, write]
    release.assert_installed()


def test_boot_loader_fails_after_the_last_retry(bench):
    action = Release(bench, ["bl"]).assign()
    bench.gateway.tell("dd", exit=1, times=None)
    bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert closing_report(bench)[3] == ["Failed to install artifacts", "filename: /dev/mtd1",
                                        "bl:loader:7"]
    assert len(bench.gateway.calls("dd")) == 100
    assert len(bench.gateway.calls("flash_erase")) == 101
    assert bench.option("version_bl") is None


def test_boot_loader_that_fails_verification_is_a_failure(bench):
    action = Release(bench, ["bl"]).assign()
    bench.gateway.tell("dd", when="midway", exit=0)
    bench.start("--bootloader-mtd", PARTITION)

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    assert closing_report(bench)[3] == ["Flash verification failed", "filename: /dev/mtd1",
                                        "bl:loader:7"]
    assert bench.option("version_bl") is None


# ---- powerline


def test_powerline_service_that_does_not_restart_is_a_failure(bench):
    action = Release(bench, ["plc"]).assign()
    bench.gateway.tell("plc", exit=4, first=2)
    bench.start()

    details = failure(bench, action, "plc")

    assert details == "popen_command: /etc/init.d/plc start\nprogram_exit_code: 4"
    assert bench.gateway.calls() == ["plc stop", "plc start"]


def test_powerline_service_is_restarted_when_its_firmware_cannot_be_stored(bench):
    action = Release(bench, ["plc"]).assign()
    (bench.gateway.run_dir / "lib/firmware/plc/user.nvm.tmp").mkdir()
    bench.start()

    bench.wait_for_end(action)

    assert action.status is Status.ERROR
    message, details, _ = closing_report(bench)[3]
    assert message == "Failed to open file for writing"
    assert "/lib/firmware/plc/user.nvm.tmp" in details
    assert bench.gateway.calls() == ["plc stop", "plc start"]
