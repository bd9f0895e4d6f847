# SPDX-License-Identifier: Apache-2.0
"""What an operator finds by the code of a failure."""
from flow import assert_closed_once, reports, start_known

# A status that no other scenario's script ends with.
STATUS = 77
CODE = 2077


def test_failure_is_found_by_its_code(home):
    home.configure("service.report_codes", "1")
    broken = home.script("broken", f"echo it broke; exit {STATUS}")
    fine = home.script("fine", "echo fine")
    start_known(home)

    failed = home.assign(broken)
    home.poll_now()
    record = assert_closed_once(home, failed, "error")
    succeeded = home.assign(fine)
    home.poll_now()
    assert_closed_once(home, succeeded, "finished")

    assert reports(record)[-1].messages == (
        "Script returned an error", f"script_exit_code: {STATUS}\nscript_output: it broke", broken.chunk)
    assert record.messages[-1] == f"Device reported status code: {CODE}"
    found = home.server.actions_with_code(CODE)
    assert failed in found
    assert succeeded not in found


def test_refused_name_is_found_by_its_code(home):
    home.configure("service.report_codes", "1")
    module = home.module("script", "one", "1.0", {"$(reboot).sh": b"#!/bin/sh\n"})
    start_known(home)

    action = home.assign(module)
    home.poll_now()
    assert_closed_once(home, action, "error")

    assert action in home.server.actions_with_code(4003)
