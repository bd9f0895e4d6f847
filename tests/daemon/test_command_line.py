# SPDX-License-Identifier: Apache-2.0
"""Arguments: what is refused, with which message and status, and what is tolerated."""
import re
import signal

import pytest

from gateway_bench import PROJECT

NAMED = ["--device-id", "gw-1", "--hawkbit-server", "localhost:1"]
OPTIONS = ["bootloader-mtd", "device-id", "hawkbit-server", "installed-flash-type", "log-level",
           "help", "dormant", "client-certificate", "client-certificate-key", "properties-file",
           "ghn-agents", "ca-bundle"]
CAUGHT = re.compile(r"^\d\d:\d\d:\d\d ERROR \S+ main: event=exception_caught action=main what=", re.M)


@pytest.mark.parametrize("arguments", [[], ["--help"], ["--help", *NAMED, "--ca-bundle", "/missing"]])
def test_help_goes_to_standard_output(bench, arguments):
    daemon = bench.run(arguments)

    assert daemon.exit_status == 0
    assert daemon.out.startswith("Available options:\n")
    assert re.findall(r"^  --([a-z-]+)", daemon.out, re.M) == OPTIONS
    assert "pass this option to enable G.hn LAN agent" in daemon.out
    assert daemon.err == ""


def assert_refused(daemon, message, with_help=True):
    assert daemon.exit_status == 1
    assert daemon.out == ""
    if with_help:
        assert daemon.err.startswith(message + "\nAvailable options:\n")
    else:
        assert daemon.err == message + "\n"


def test_device_id_is_required(bench):
    daemon = bench.run(["--hawkbit-server", "localhost:1"])

    assert_refused(daemon, "Error: You must specify the device ID\n")


def test_server_is_required(bench):
    daemon = bench.run(["--device-id", "gw-1"])

    assert_refused(daemon,
                   "Error: You must specify the hawkbit server hostname or address\n")


def test_unknown_options_are_ignored(bench):
    daemon = bench.run(["--foo", "1", "--bar=2", "--device-id", "gw-1"])

    assert_refused(daemon,
                   "Error: You must specify the hawkbit server hostname or address\n")


@pytest.mark.parametrize("given", ["--client-certificate", "--client-certificate-key"])
def test_client_certificate_and_key_are_required_together(bench, given):
    daemon = bench.run([*NAMED, given, bench.pki.client.certificate])

    assert_refused(daemon, "Error: you must specify both a client certificate and "
                           "client certificate key")


def test_both_missing_certificate_files_are_named(bench):
    daemon = bench.run([*NAMED, "--client-certificate", "/a.crt", "--client-certificate-key", "/a.key"])

    assert_refused(daemon, "Error: could not find client certificate path: /a.crt\n"
                           "Error: could not find client certificate key path: /a.key")


def test_missing_certificate_key_alone_is_named(bench):
    daemon = bench.run([*NAMED, "--client-certificate", bench.pki.client.certificate,
                        "--client-certificate-key", "/a.key"])

    assert_refused(daemon, "Error: could not find client certificate key path: /a.key")


def test_missing_ca_bundle_is_refused_without_help(bench):
    daemon = bench.run([*NAMED, "--ca-bundle", "/missing.crt"])

    assert_refused(daemon, "Error: could not find CA bundle at /missing.crt", with_help=False)


def test_dormant_needs_a_value(bench):
    daemon = bench.run([*NAMED, "--dormant"])

    assert daemon.exit_status == 1
    assert CAUGHT.search(daemon.err)


def test_missing_properties_file_is_reported_as_ignored_but_ends_the_start(bench):
    daemon = bench.run([*NAMED, "--properties-file", "/missing.json"])

    assert daemon.exit_status == 1
    assert daemon.err.startswith(
        "Error: could not find properties file at /missing.json, ignoring\n")
    assert CAUGHT.search(daemon.err)


@pytest.mark.parametrize("text", ["", "no json", '{"a": 1'])
def test_properties_file_must_be_json(bench, text):
    daemon = bench.run([*NAMED, "--properties-file", bench.file("properties.json", text)])

    assert daemon.exit_status == 1
    assert CAUGHT.search(daemon.err)


def test_nested_properties_end_the_process_abnormally(bench):
    daemon = bench.run([*NAMED, "--properties-file",
                        bench.file("properties.json", '{"a": {"b": 1}}')])

    assert daemon.exit_status == -signal.SIGABRT


@pytest.mark.parametrize("word", ["verbose", "debug", "INFO "])
def test_unknown_log_level_causes_a_warning_and_means_info(bench, word):
    daemon = bench.start_without_server(f"--log-level={word}")

    daemon.wait_for_line("action=factory_report")
    daemon.wait_for_line("event=backoff")
    daemon.kill()

    assert daemon.out.startswith("Warning: Unknown log level specified, using default\n")
    assert " INFO " in daemon.out
    assert " DEBUG " not in daemon.out


def registered_installers():
    """Part type and priority of every installer that the sources register, as texts in order."""
    registration = re.compile(r'InstallerRegistration \w+\{"(\w+)", (\d+),')
    return sorted(match.groups() for source in (PROJECT / "src").rglob("*.cpp")
                  for match in registration.finditer(source.read_text(encoding="utf-8")))


def test_start_reports_the_installers_of_this_build(bench):
    daemon = bench.start_without_server()

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    reported = re.findall(r"INFO \S+ report: action=factory_report part=(\w+) priority=(\d+)$",
                          daemon.out, re.M)
    assert reported == registered_installers() != []


def documented_installers():
    """Part type and priority of every installer, from the table that users read."""
    text = (PROJECT / "docs/configuration.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| `(\w+)` \| (\d+) \| ", text, re.M)
    assert ("os", "10") in rows
    return rows


def test_documentation_lists_the_installers_of_this_build():
    assert sorted(documented_installers()) == registered_installers()


def test_start_logs_the_enabled_options(bench):
    pair = bench.pki.client
    daemon = bench.start_without_server("--client-certificate", pair.certificate,
                                        "--client-certificate-key", pair.key)

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    for line in (f"main: action=set_ca_bundle_path message=using custom ca bundle bundle={bench.pki.ca}",
                 "main: action=main message=using client certificate"):
        assert re.search(rf"INFO \S+ {re.escape(line)}$", daemon.out, re.M)


def test_start_up_takes_its_steps_in_order(bench):
    pair = bench.pki.client
    bench.gateway.config("zephran", "config schedule 'schedule'\n\toption enabled '1'\n"
                                    "\toption daysofweek 'Monday'\n\toption starttime '02:00'\n"
                                    "\toption stoptime '05:00'\n")
    daemon = bench.start_without_server(
        "--ghn-agents", "--client-certificate", pair.certificate, "--client-certificate-key", pair.key,
        "--properties-file", bench.file("properties.json", '{"b": "2", "a": 1}'))

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    steps = ["action=set_ca_bundle_path ", "event=add_property key=a value=1$",
             "event=add_property key=b value=2$", "action=read_update_schedule_from_config start_hour=2 ",
             "action=factory_report ", "message=using client certificate$",
             "message=enabling G.hn LAN discovery handler$", "event=backoff "]
    found = [re.search(step, daemon.out, re.M) for step in steps]
    assert None not in found, daemon.out
    assert [step.start() for step in found] == sorted(step.start() for step in found), daemon.out


def test_option_enables_discovery(bench):
    daemon = bench.start_without_server("--ghn-agents")

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    assert re.search(r"INFO \S+ main: action=main "
                     r"message=enabling G\.hn LAN discovery handler$", daemon.out, re.M)


def test_discovery_is_disabled_by_default(bench):
    daemon = bench.start_without_server()

    daemon.wait_for_line("event=backoff")
    daemon.kill()

    assert "discovery handler" not in daemon.out
