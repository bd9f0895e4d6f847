# SPDX-License-Identifier: Apache-2.0
"""What runs once after an installation and after each firmware upgrade."""
import pytest

from openwrt.procd import uci_file
from package_bench import FILES

SECTIONS = ["service", "schedule", "network", "device"]


def run(gateway):
    exit_status, wait = gateway.source("zephran.defaults")
    wait()
    return exit_status


def sections(gateway):
    return uci_file.parse(gateway.config_path.read_text())


def test_shipped_configuration_stays_unchanged(gateway):
    shipped = (FILES / "zephran.config").read_bytes()
    gateway.config_path.write_bytes(shipped)

    assert run(gateway) == 0

    assert gateway.config_path.read_bytes() == shipped
    assert not (gateway.root / "tmp/.uci").exists()


def test_missing_file_is_created_with_all_sections(gateway):
    assert run(gateway) == 0

    assert [(each.name, each.type, each.options) for each in sections(gateway)] == [
        (name, name, {}) for name in SECTIONS]


@pytest.mark.parametrize("lost", SECTIONS)
def test_lost_section_is_restored_and_values_stay(gateway, lost):
    options = {"service": {"enabled": "1", "device_id": "it's mine", "rebooted": "1"},
               "schedule": {"starttime": "23:00"}, "network": {"max_speed": "9000"}, "device": {"version_os": "2.1"}}
    del options[lost]
    gateway.config_path.write_text(uci_file.render(
        [uci_file.Section(name, name, values) for name, values in options.items()]))

    assert run(gateway) == 0

    assert {each.name: each.options for each in sections(gateway)} == {**options, lost: {}}


@pytest.mark.parametrize("text", [None, "", "config service 'service'\n\toption enabled '1'\n"])
def test_second_run_changes_nothing(gateway, text):
    if text is not None:
        gateway.config_path.write_text(text)
    assert run(gateway) == 0
    once = gateway.config_path.read_bytes()

    assert run(gateway) == 0

    assert gateway.config_path.read_bytes() == once
    assert [each.name for each in sections(gateway)] == SECTIONS


def test_failure_of_uci_does_not_repeat_the_script_at_the_next_boot(gateway):
    gateway.command("uci", "#!/bin/sh\nexit 1\n")

    assert run(gateway) == 0
