# SPDX-License-Identifier: Apache-2.0
"""What the init script does with a configuration."""
import re

import pytest

from openwrt.procd import uci_file
from openwrt.procd.service import needs_restart
from package_bench import FILES

INIT = (FILES / "zephran.init").read_text()

MINIMAL = {"enabled": "1", "device_id": "gw-1", "server": "updates.example:8443"}
MINIMAL_COMMAND = ["/usr/sbin/zephran", "--device-id", "gw-1",
                   "--hawkbit-server", "updates.example:8443", "--log-level", "INFO"]
SCHEDULE = {"enabled": "1", "daysofweek": "Monday Friday", "starttime": "08:00",
            "stoptime": "17:00"}
REPORT_OPTIONS = re.search(r"REPORT_OPTIONS='([^']*)'", INIT)[1].split()
NETWORK_OPTIONS = re.search(r"NETWORK_OPTIONS='([^']*)'", INIT)[1].split()


CONFIG = "/etc/config/zephran"
UNUSABLE = f"section 'service' of {CONFIG} is missing, or 'enabled' is no bool"
BROKEN_FILES = [None, "config service 'serv", "option lost 'x'\n"]

# option, invalid value, its datatype: what the daemon can do without
OPTIONAL = pytest.mark.parametrize("option, value, expected", [
    ("dormant", "2", "bool"),
    ("ghn_agents", "never", "bool"),
    ("log_level", "debug", 'or("DEBUG","INFO","WARNING","ERROR")'),
    ("ca_bundle", "/no/such/ca.pem", "file"),
    ("properties_file", "/", "file")])


def error_lines(*sentences):
    return [("zephran", "daemon.err", sentence) for sentence in sentences]


def left_out(option, value):
    return f"option '{option}' is '{value}', which is not valid: left out"


def ignored(reason):
    return f"{reason}: reload ignored, the daemon continues with what it has"


def refused(reason):
    return f"configuration refused: {reason}"


def assert_not_started(service, *sentences):
    assert service.instances == {}
    assert service.log == error_lines(*sentences)


def assert_left_alone(service, *sentences):
    """procd was asked for nothing, so a running daemon continues."""
    assert service.name is None
    assert service.exit_status == 1
    assert_not_started(service, *sentences)


def only_instance(service):
    [instance] = service.instances.values()
    return instance


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


@OPTIONAL
@pytest.mark.parametrize("action", ["start", "reload"])
def test_invalid_optional_value_is_named_and_left_out(gateway, action, option, value, expected):
    gateway.configure({**MINIMAL, "bootloader_mtd": "mtd1", option: value})

    service = gateway.init(action)

    known = MINIMAL_COMMAND[:-2] if option == "log_level" else MINIMAL_COMMAND
    assert only_instance(service)["command"] == [*known, "--bootloader-mtd", "mtd1"]
    assert service.log == error_lines(left_out(option, value))
    # procd's own words say what it expects.
    assert service.errors == f"zephran.service.{option}={value} validates as {expected} with false\n"


def test_every_invalid_optional_value_is_named(gateway):
    gateway.configure({**MINIMAL, "log_level": "all", "dormant": "x", "ghn_agents": "1"})

    service = gateway.init()

    assert only_instance(service)["command"] == [*MINIMAL_COMMAND[:-2], "--ghn-agents"]
    assert sorted(service.log) == error_lines(left_out("dormant", "x"), left_out("log_level", "all"))


@pytest.mark.parametrize("given, absent", [
    ("client_certificate", "client_certificate_key"),
    ("client_certificate_key", "client_certificate")])
def test_half_of_the_client_certificate_is_named_and_left_out(gateway, given, absent):
    gateway.configure({**MINIMAL, given: gateway.file("given.pem")})

    service = gateway.init()

    assert only_instance(service)["command"] == MINIMAL_COMMAND
    assert service.log == error_lines(f"option '{given}' has no '{absent}': left out")


@pytest.mark.parametrize("given, lost", [
    ("client_certificate", "client_certificate_key"),
    ("client_certificate_key", "client_certificate")])
def test_client_certificate_is_left_out_while_half_of_it_is_being_replaced(gateway, given, lost):
    gateway.configure({**MINIMAL, given: gateway.file("given.pem"), lost: "/no/such/file"})

    service = gateway.init()

    assert only_instance(service)["command"] == MINIMAL_COMMAND
    assert service.log == error_lines(left_out(lost, "/no/such/file"),
                                      f"option '{given}' has no '{lost}': left out")


@pytest.mark.parametrize("text", BROKEN_FILES)
def test_missing_or_broken_file_is_named_and_nothing_is_started(gateway, text):
    if text:
        gateway.config_path.write_text(text)

    assert_not_started(gateway.init(), refused(f"{CONFIG} cannot be read"))


@pytest.mark.parametrize("sections", [{"other": {}}, {"service": {**MINIMAL, "enabled": "maybe"}}])
@pytest.mark.parametrize("action", ["start", "reload"])
def test_section_that_does_not_say_whether_to_start_is_refused(gateway, sections, action):
    gateway.config_path.write_text(uci_file.render(
        [uci_file.Section(name, name, options) for name, options in sections.items()]))

    service = gateway.init(action)

    assert_not_started(service, refused(UNUSABLE))
    assert (service.name is None) == (action == "reload")


@pytest.mark.parametrize("missing, present", [
    ("device_id", {"device_id": ""}),
    ("server", {"server": ""}),
    ("device_id server", {"device_id": "", "server": "", "log_level": "debug"})])
def test_missing_requirement_is_named_and_nothing_is_started(gateway, missing, present):
    gateway.configure({**MINIMAL, **present})

    assert_not_started(gateway.init(),
                       refused(f"section 'service' of {CONFIG} lacks: {missing}"))


@pytest.mark.parametrize("lost", ["device_id", "server"])
def test_reload_without_id_or_server_leaves_the_daemon_alone(gateway, lost):
    gateway.configure({**MINIMAL, lost: ""})

    assert_left_alone(gateway.init("reload"),
                      refused(f"section 'service' of {CONFIG} lacks: {lost}"))


@pytest.mark.parametrize("text", BROKEN_FILES)
def test_reload_of_a_broken_file_leaves_the_daemon_alone(gateway, text):
    if text:
        gateway.config_path.write_text(text)

    assert_left_alone(gateway.init("reload"), refused(f"{CONFIG} cannot be read"))


@OPTIONAL
def test_reload_with_an_invalid_value_leaves_the_daemon_alone(gateway, option, value, expected):
    gateway.configure({**MINIMAL, option: value})

    service = gateway.init("reload", running=True)

    assert_left_alone(service, ignored(f"option '{option}' is '{value}', which is not valid"))
    assert service.errors == f"zephran.service.{option}={value} validates as {expected} with false\n"


@pytest.mark.parametrize("option", ["ca_bundle", "client_certificate", "client_certificate_key"])
def test_reload_while_a_file_is_being_replaced_leaves_the_daemon_alone(gateway, option):
    files = {name: gateway.file(name)
             for name in ("ca_bundle", "client_certificate", "client_certificate_key")}
    gateway.configure({**MINIMAL, **files})
    before = gateway.instance()
    (gateway.root / option).unlink()

    during = gateway.init("reload", running=True)
    gateway.file(option)
    after = gateway.init("reload", running=True)

    assert (during.exit_status, during.name) == (1, None)
    assert during.log[0] == error_lines(
        ignored(f"option '{option}' is '{files[option]}', which is not valid"))[0]
    assert (after.exit_status, only_instance(after)) == (0, before)


@pytest.mark.parametrize("given, absent", [
    ("client_certificate", "client_certificate_key"),
    ("client_certificate_key", "client_certificate")])
def test_reload_with_half_of_the_client_certificate_leaves_the_daemon_alone(gateway, given, absent):
    gateway.configure({**MINIMAL, given: gateway.file("given.pem")})

    assert_left_alone(gateway.init("reload", running=True),
                      ignored(f"option '{given}' has no '{absent}'"))


def test_reload_gives_a_running_daemon_what_was_changed(gateway):
    gateway.configure({**MINIMAL, "log_level": "DEBUG"})

    service = gateway.init("reload", running=True)

    assert only_instance(service)["command"] == [*MINIMAL_COMMAND[:-1], "DEBUG"]
    assert service.log == []


@pytest.mark.parametrize("running", [False, True])
@pytest.mark.parametrize("others", [{}, {"server": ""}, {"log_level": "debug"},
                                    {"client_certificate": "/no/such/file"}])
def test_reload_of_a_disabled_service_ends_it(gateway, others, running):
    gateway.configure({**MINIMAL, "enabled": "0", **others})

    service = gateway.init("reload", running)

    assert (service.name, service.instances) == ("zephran.init", {})


def test_procd_never_gives_up_restarting_and_allows_time_to_stop(gateway):
    gateway.configure(MINIMAL)

    instance = gateway.instance()

    # Within an hour, after a pause of 30 s, without a limit.
    assert instance["respawn"] == ["3600", "30", "0"]
    assert instance["term_timeout"] == "20"
    assert (instance["stdout"], instance["stderr"]) == ("1", "1")
    assert sorted(instance) == ["command", "env", "limits", "respawn", "stderr", "stdout",
                                "term_timeout"]


def test_daemon_and_its_tools_write_no_core_files(gateway):
    gateway.configure(MINIMAL)

    assert gateway.instance()["limits"] == {"core": "0"}


def test_schedule_is_part_of_the_environment(gateway):
    gateway.configure(MINIMAL, schedule=SCHEDULE)

    assert gateway.instance()["env"]["ZEPHRAN_SCHEDULE"] == "1/Monday Friday/08:00/17:00"


@pytest.mark.parametrize("option, value", [
    ("enabled", "0"), ("daysofweek", "Monday"), ("starttime", "09:00"), ("stoptime", "18:00"),
    ("stoptime", "")])
def test_changed_schedule_restarts_the_daemon(gateway, option, value):
    gateway.configure(MINIMAL, schedule=SCHEDULE)
    before = gateway.instance()
    gateway.configure(MINIMAL, schedule={**SCHEDULE, option: value})

    assert needs_restart(before, gateway.instance())


def test_options_of_transfers_are_part_of_the_environment(gateway):
    gateway.configure(MINIMAL, network={"max_speed": "9000", "tenant": "it's; mine", "stall_bytes": ""})

    assert gateway.instance()["env"]["ZEPHRAN_NETWORK"] == "max_speed=9000;tenant=it's; mine;"


@pytest.mark.parametrize("option", NETWORK_OPTIONS)
def test_changed_option_of_transfers_restarts_the_daemon(gateway, option):
    gateway.configure(MINIMAL, network={})
    before = gateway.instance()
    gateway.configure(MINIMAL, network={option: "1"})

    assert needs_restart(before, gateway.instance())


@pytest.mark.parametrize("option", REPORT_OPTIONS)
def test_changed_option_of_reports_restarts_the_daemon(gateway, option):
    gateway.configure(MINIMAL)
    before = gateway.instance()
    gateway.configure({**MINIMAL, option: "1"})

    assert before["env"]["ZEPHRAN_REPORTS"] == ""
    assert gateway.instance()["env"]["ZEPHRAN_REPORTS"] == f"{option}=1;"
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


def test_validation_of_procd_knows_every_option_of_the_command_line(gateway):
    [options] = gateway.init("triggers").validations.values()

    passed = set(re.findall(r"--([a-z-]+)", INIT)) - {"device-id", "hawkbit-server"}
    names = {option.split(":")[0] for option in options} - {"enabled", "device_id", "server"}
    assert names == {name.replace("-", "_") for name in passed}
