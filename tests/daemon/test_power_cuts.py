# SPDX-License-Identifier: Apache-2.0
"""A power cut at any moment of a release does not prevent its installation.

Between two reports nothing changes what an interruption leads to but the tool itself, whose moments are in
test_interruptions.py. So there are a cut right before and right after each report takes effect, and a search for
moments that nobody has thought of: ZEPHRAN_POWER_CUT_STEP, in seconds between two cuts, makes it finer or coarser.
"""
import os
import time

import pytest

from hawkbit_server import Part, Stall, Status
from release import NEW, OLD, Release, let_it_poll_again
from report_moments import CHUNK, END, NUMBERS, OUTCOMES, START, OneChunk

STEP = float(os.environ.get("ZEPHRAN_POWER_CUT_STEP", "12"))
# How long each piece takes on an idle machine. A cut after its end is harmless.
DURATIONS = {("script", "os"): 38, ("bl", "zw"): 31, ("opkg", "plc"): 31}
CUTS = [pytest.param(parts, 5 + number * STEP, id=f"{'+'.join(parts)}-{5 + number * STEP:g}s")
        for parts, duration in DURATIONS.items() for number in range(int(duration / STEP))]
FIRMWARE_STARTED = ["Installation started", f"os:firmware:{NEW}"]
SCRIPT_STARTED = ["Installation started", "script:settings:3"]


def marks_of(part, report, took_effect):
    """By what a gateway with the shipped options differs at this moment."""
    if report == END and not took_effect:
        return [pytest.mark.differs("kept-reports")]
    if report == START and took_effect and part in ("script", "os"):
        return [pytest.mark.differs("started-scripts")]
    return []


MOMENTS = [pytest.param(part, report, took_effect, marks=marks_of(part, report, took_effect),
                        id=f"{'after' if took_effect else 'before'}-{report}-{part}")
           for part in ("script", "os", "zw", "opkg") for report in (START, CHUNK, END)
           for took_effect in (False, True)]


@pytest.mark.parametrize("part, report, took_effect", MOMENTS)
def test_power_cut_at_a_report(bench, part, report, took_effect):
    one = OneChunk(bench, part)
    stall = Stall(0, Part.HEAD) if took_effect else Stall()
    bench.server.order("feedback", stall, first=NUMBERS[report])
    supervisor = one.supervise()
    bench.wait_until(stall.reached.is_set, f"the report of the {report}")

    supervisor.power_cut()
    stall.drop()
    bench.wait_for_end(one.action)
    let_it_poll_again(bench)

    assert one.outcome() == OUTCOMES[part, report, took_effect]
    assert not one.action.spoilt
    one.assert_in_order()


@pytest.mark.differs("started-scripts", sometimes=True)
@pytest.mark.parametrize("parts, second", CUTS)
def test_power_cut_at_any_moment_is_survived(bench, parts, second):
    release = Release(bench, parts)
    action = release.assign()
    supervisor = release.supervise()
    time.sleep(second)

    supervisor.power_cut()
    reported = [report[3] for report in bench.reports()]
    # After a cut between its report and its work, a resumable installer takes the work for done.
    firmware_was_lost = FIRMWARE_STARTED in reported and bench.gateway.firmware == OLD
    script_was_lost = SCRIPT_STARTED in reported and bench.gateway.installed_files == {}
    bench.wait_for_end(action)

    if firmware_was_lost:
        assert action.status is Status.ERROR
        assert bench.closing_reports()[0][3] == [
            "Expected version does not match the version that was found",
            f"expected_version: {NEW}\nfound_version: {OLD}", f"os:firmware:{NEW}"]
        action = release.assign()
        bench.wait_for_end(action)
    if script_was_lost:
        assert ["Chunk deployed", "script:settings:3"] in [report[3] for report in bench.reports()]
        action = release.assign()
        bench.wait_for_end(action)
    let_it_poll_again(bench)

    assert action.status is Status.FINISHED
    assert not action.spoilt
    assert len(bench.closing_reports()) == (2 if firmware_was_lost or script_was_lost else 1)
    assert {each.status for each in bench.exchanges("feedback")} == {200}
    release.assert_installed()
