# SPDX-License-Identifier: Apache-2.0
"""What the init script does with a configuration."""
import pytest

from openwrt.procd.service import needs_restart
from package_bench import FILES

MINIMAL = {"enabled": "1", "device_id": "gw-1", "server": "updates.example:8443"}
MINIMAL_COMMAND = ["/usr/sbin/zephran", "--device-id", "gw-1",
                   "--hawkbit-server", "updates.example:8443", "--log-level", "INFO"]
SCHEDULE = {"enabled": "1", "daysofweek": "Monday Friday", "starttime": "08:00",
            "stoptime": "17:00"}


def assert_not_started(service, *sentences):
    assert service.errors == ""
    assert service.instances == {}
    assert service.log == [("zephran", "daemon.err", f"not started: {sentence}")
                           for sentence in sentences]


def test_shipped_configuration_starts_and_logs_nothing(gateway):
    gateway.config_path.write_bytes((FILES / "zephran.config").read_bytes())

    assert_not_started(gateway.init())


@pytest.mark.parametrize("options", [{}, {"enabled": "0"}, {"enabled": "no"}])
def test_disabled_service_starts_and_logs_nothing(gateway, options):
    gateway.configure({**MINIMAL, "enabled": "", **options})

    assert_not_started(gateway.init())


def test_minimal_configuration_starts_the_daemon(gateway):
    gateway.configure(MINIMAL)

    assert gateway.instance()["command"] == MINIMAL_COMMAND


def test_every_option_is_passed_on(gateway):
    paths = {name: gateway.file(name)
             for name in ("ca.pem", "client.pem", "client.key", "properties.json")}
    gateway.configure({**MINIMAL, "log_level": "DEBUG", "ca_bundle": paths["ca.pem"],
                       "client_certificate": paths["client.pem"],
                       "client_certificate_key": paths["client.key"],
                       "properties_file": paths["properties.json"], "dormant": "1",
                       "bootloader_mtd": "u-boot", "ghn_agents": "1"})

    assert gateway.instance()["command"] == [
        "/usr/sbin/zephran", "--device-id", "gw-1", "--hawkbit-server", "updates.example:8443",
        "--log-level", "DEBUG", "--ca-bundle", paths["ca.pem"],
        "--client-certificate", paths["client.pem"],
        "--client-certificate-key", paths["client.key"],
        "--properties-file", paths["properties.json"], "--dormant", "true",
        "--bootloader-mtd", "u-boot", "--ghn-agents"]


@pytest.mark.parametrize("value", [
    "two words", "  blanks around  ", "it's", 'say "yes"', "$(touch x) `id` $HOME", "a\\b", "*",
    "semi;colon & more", "tab\there", "two\nlines", "größe", "#no comment", "-n"])
def test_values_are_passed_unchanged(gateway, value):
    path = gateway.file("ca 'of' \"mine\".pem")
    gateway.configure({**MINIMAL, "device_id": value, "bootloader_mtd": value, "ca_bundle": path})

    command = gateway.instance()["command"]

    assert command[2] == value
    assert command[command.index("--bootloader-mtd") + 1] == value
    assert command[command.index("--ca-bundle") + 1] == path


@pytest.mark.parametrize("word", ["1", "on", "true", "yes", "enabled"])
def test_booleans_are_accepted_in_every_spelling(gateway, word):
    gateway.configure({**MINIMAL, "enabled": word, "dormant": word, "ghn_agents": word})

    assert gateway.instance()["command"] == [*MINIMAL_COMMAND, "--dormant", "true", "--ghn-agents"]


def test_false_switches_add_no_option(gateway):
    gateway.configure({**MINIMAL, "dormant": "0", "ghn_agents": "off"})

    assert gateway.instance()["command"] == MINIMAL_COMMAND


@pytest.mark.parametrize("level", ["DEBUG", "INFO", "WARNING", "ERROR"])
def test_each_log_level_is_passed_on(gateway, level):
    gateway.configure({**MINIMAL, "log_level": level})

    assert gateway.instance()["command"][-2:] == ["--log-level", level]


@pytest.mark.parametrize("option, value, expected", [
    ("enabled", "maybe", "bool"),
    ("dormant", "2", "bool"),
    ("ghn_agents", "never", "bool"),
    ("log_level", "debug", 'or("DEBUG","INFO","WARNING","ERROR")'),
    ("ca_bundle", "/no/such/ca.pem", "file"),
    ("client_certificate", "/no/such/client.pem", "file"),
    ("client_certificate_key", "/no/such/client.key", "file"),
    ("properties_file", "/", "file")])
def test_invalid_value_is_named_and_nothing_is_started(gateway, option, value, expected):
    gateway.configure({**MINIMAL, option: value})

    assert_not_started(
        gateway.init(), f"option '{option}' is '{value}', expected {expected}",
        "section 'service' of /etc/config/zephran is missing or not valid")


def test_every_invalid_value_is_named(gateway):
    gateway.configure({**MINIMAL, "log_level": "all", "dormant": "x"})

    texts = [text for _, _, text in gateway.init().log]

    assert len(texts) == 3
    assert "'log_level'" in texts[0]
    assert "'dormant'" in texts[1]


@pytest.mark.parametrize("text", [None, "config service 'serv", "option lost 'x'\n"])
def test_missing_or_broken_file_is_named_and_nothing_is_started(gateway, text):
    if text:
        gateway.config_path.write_text(text)

    assert_not_started(gateway.init(),
                       "section 'service' of /etc/config/zephran is missing or not valid")


@pytest.mark.parametrize("missing, present", [
    ("device_id", {"device_id": ""}),
    ("server", {"server": ""}),
    ("device_id server", {"device_id": "", "server": ""}),
    ("client_certificate_key", {"client_certificate": "client.pem"}),
    ("client_certificate", {"client_certificate_key": "client.key"}),
    ("server client_certificate", {"server": "", "client_certificate_key": "client.key"})])
def test_missing_requirement_is_named_and_nothing_is_started(gateway, missing, present):
    present = {name: gateway.file(value) if value else "" for name, value in present.items()}
    gateway.configure({**MINIMAL, **present})

    assert_not_started(gateway.init(),
                       f"section 'service' of /etc/config/zephran lacks: {missing}")


def test_procd_never_gives_up_restarting_and_allows_time_to_stop(gateway):
    gateway.configure(MINIMAL)

    instance = gateway.instance()

    # Within an hour, after a pause of 30 s, without a limit.
    assert instance["respawn"] == ["3600", "30", "0"]
    assert instance["term_timeout"] == "20"
    assert (instance["stdout"], instance["stderr"]) == ("1", "1")
    assert sorted(instance) == ["command", "env", "respawn", "stderr", "stdout", "term_timeout"]


def test_schedule_is_part_of_the_environment(gateway):
    gateway.configure(MINIMAL, schedule=SCHEDULE)

    assert gateway.instance()["env"] == {"ZEPHRAN_SCHEDULE": "1/Monday Friday/08:00/17:00"}


@pytest.mark.parametrize("option, value", [
    ("enabled", "0"), ("daysofweek", "Monday"), ("starttime", "09:00"), ("stoptime", "18:00"),
    ("stoptime", "")])
def test_changed_schedule_restarts_the_daemon(gateway, option, value):
    gateway.configure(MINIMAL, schedule=SCHEDULE)
    before = gateway.instance()
    gateway.configure(MINIMAL, schedule={**SCHEDULE, option: value})

    assert needs_restart(before, gateway.instance())


@pytest.mark.parametrize("changed", [{"log_level": "DEBUG"}, {"server": "other.example"},
                                     {"dormant": "1"}])
def test_changed_option_restarts_the_daemon(gateway, changed):
    gateway.configure(MINIMAL)
    before = gateway.instance()
    gateway.configure({**MINIMAL, **changed})

    assert needs_restart(before, gateway.instance())


@pytest.mark.parametrize("options", [
    {"automatic_update": "0"}, {"automatic_update": "1"}, {"rebooted": "1"}, {"rebooted": "0"}])
def test_options_read_at_run_time_do_not_restart_the_daemon(gateway, options):
    gateway.configure(MINIMAL, schedule=SCHEDULE)
    before = gateway.instance()
    gateway.configure({**MINIMAL, **options}, schedule=SCHEDULE)

    assert gateway.instance() == before


def test_records_of_the_daemon_do_not_restart_it(gateway):
    gateway.configure(MINIMAL, schedule=SCHEDULE, device={})
    before = gateway.instance()
    gateway.configure(MINIMAL, schedule=SCHEDULE,
                      device={"version_os": "2.1", "installation_time_os": "2026-01-01T00:00:00Z"})

    assert gateway.instance() == before


@pytest.mark.parametrize("dormant, rebooted, marked", [
    ("1", "1", True), ("yes", "1", True), ("1", "0", False), ("1", "", False), ("0", "1", False),
    ("1", "true", False)])
def test_reboot_mark_is_created_for_a_dormant_daemon(gateway, dormant, rebooted, marked):
    gateway.configure({**MINIMAL, "dormant": dormant, "rebooted": rebooted})

    gateway.instance()

    assert (gateway.root / "run/zephran.rebooted").exists() == marked


@pytest.mark.parametrize("action", ["boot", "reload"])
def test_boot_and_reload_start_the_same_instance(gateway, action):
    gateway.configure(MINIMAL)

    assert gateway.init(action).instances == gateway.init("start").instances != {}


def test_change_of_the_configuration_triggers_validation_and_reload(gateway):
    triggers = gateway.init("triggers")

    assert triggers.errors == ""
    assert triggers.reload_triggers == ["zephran"]
    options = triggers.validations[("zephran", "service")]
    assert {"enabled:bool:0", "device_id:string", "ca_bundle:file"} <= set(options)
