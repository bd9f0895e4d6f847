# SPDX-License-Identifier: Apache-2.0
"""The demonstration's verdict finds every deviation, however small."""
import io
from dataclasses import replace
from types import SimpleNamespace

import pytest

from demo import daemon_log, verdict
from demo.rollouts import FAILING, GOOD, LOADER, PARTITION_SIZE
from demo.scene import DEVICE, PROPERTIES
from demo.screen import Screen
from demo.story import Story
from hawkbit_server import ActionType, Status


def exchange(path="/1/feedback", **document):
    return SimpleNamespace(action=1, status=200, outcome="answered", arrived=20.0, path=path,
                           json=lambda: document)


def feedback(title, chunk, progress, result="success"):
    count, of = map(int, progress.split("/"))
    execution, finished, details = (("proceeding", "none", [title, chunk]) if chunk
                                    else ("closed", result, [title]))
    return exchange(status={
        "execution": execution, "details": details,
        "result": {"finished": finished, "progress": {"count": count, "of": of}}})


class Records:
    """The records of server, gateway and bus after a good release."""

    def __init__(self):
        sent = {"dormant": "0", **PROPERTIES}
        self.requests = {
            "feedback": [feedback(*report) for report in GOOD.reports],
            "artifact": [exchange(f"/artifacts/{name}") for chunk in GOOD.in_turn for name in chunk.files],
            "configData": [exchange(data=sent), exchange(data={**sent, "dormant": "1"})]}
        self.left = GOOD.left
        self.life = SimpleNamespace(reboots=1)
        self.server = SimpleNamespace(exchanges=self.requests.get)
        self.action = SimpleNamespace(id=1, type=ActionType.SOFT, status=Status.FINISHED, spoilt=False,
                                      target=SimpleNamespace(attributes={**sent, "dormant": "1"}))
        self.control = SimpleNamespace(
            agents={"agents": [{"id": DEVICE, "config": dict(sent)}]},
            pending={"success": True, "action_id": "1", "chunks": [
                {"type": chunk.type, "version": chunk.version} for chunk in GOOD.chunks]},
            accepted={"success": True}, accepted_at=10.0)

    def inventory(self):
        return self.left

    def change(self, **fields):
        """Changes the inventory of the gateway."""
        self.left = replace(self.left, **fields)

    def problems(self, story=None):
        story = story or Story(Screen(io.StringIO()), GOOD, verbose=False)
        return list(verdict.problems(self, self.action, GOOD, story, self.control))


def test_chunks_are_expected_in_the_order_of_their_installers():
    assert [chunk.type for chunk in GOOD.in_turn] == ["os", "script", "zw", "bl", "plc", "opkg", "opkg"]
    assert [chunk.type for chunk in FAILING.touched] == ["os", "script"]
    assert FAILING.reports == [
        ("Installation started", "os:firmware:2.1_20260101", "0/7"),
        ("Chunk deployed", "os:firmware:2.1_20260101", "1/7"),
        ("Installation started", "script:licence-check:1.0", "1/7"),
        ("Script returned an error", "", "1/7")]


def test_good_record_has_no_problem():
    assert Records().problems() == []


def test_gateway_that_tells_more_of_a_chunk_has_no_problem():
    records = Records()
    for chunk in records.control.pending["chunks"]:
        chunk.update(name="module", size=7)

    assert records.problems() == []


def half_written_loader(records):
    records.change(boot_loader=LOADER[:50_000].ljust(PARTITION_SIZE, b"\377"))


def swap_reports(records):
    reports = records.requests["feedback"]
    reports[4], reports[6] = reports[6], reports[4]


@pytest.mark.parametrize("spoil, told", [
    (lambda records: setattr(records.action, "status", Status.RETRIEVED), "recorded retrieved"),
    (lambda records: setattr(records.action, "spoilt", True), "instead of finished"),
    (lambda records: records.action.target.attributes.pop("site"), "attribute site"),
    (lambda records: records.action.target.attributes.update(dormant="0"), "attribute dormant is '0'"),
    (lambda records: records.control.agents["agents"].clear(), "get_agents replied"),
    (lambda records: records.control.pending.update(action_id="2"), "action '2' was held back"),
    (lambda records: records.control.pending["chunks"].reverse(), "were held back instead of"),
    (lambda records: records.control.accepted.update(success=False), "accept_deployment replied"),
    (lambda records: setattr(records.control, "accepted_at", 30.0),
     "22 requests of the rollout came before"),
    (lambda records: records.requests["feedback"].pop(), "reported 0 times"),
    (lambda records: records.requests["feedback"].append(feedback("Deployment successful", "", "7/7")),
     "reported 2 times"),
    (lambda records: records.requests["feedback"].pop(7),
     "the report Chunk deployed bl:boot-loader:7.0 4/7 is missing"),
    (lambda records: records.requests["feedback"].insert(
        2, feedback("Installation started", "os:firmware:2.1_20260101", "0/7")), "should not have come"),
    (swap_reports, "the reports came in another order: Installation started os:firmware"),
    (lambda records: records.requests["artifact"].insert(1, exchange("/artifacts/firmware.img")),
     "the files firmware.img, firmware.img, greeting.sh"),
    (lambda records: setattr(records.life, "reboots", 2), "rebooted 2 times"),
    (half_written_loader, "the boot loader's partition: found 131072 bytes"),
    (half_written_loader, "they differ from byte 50000 on"),
    (lambda records: records.change(records={**GOOD.left.records, "version_bl": "6.0"}),
     "the stored record version_bl: found '6.0' instead of '7.0'"),
    (lambda records: records.change(records={**GOOD.left.records, "previous_version_os_tmp": "2.0"}),
     "the stored record previous_version_os_tmp: found '2.0' instead of nothing"),
    (lambda records: records.change(timed=("bl", "os", "zw")), "found bl os zw instead of bl os plc zw"),
    (lambda records: records.change(firmware="2.0_20250101"), "the firmware that runs: found '2.0_20250101'"),
    (lambda records: records.change(radio=None), "the Z-Wave radio holds: found nothing instead of 64000"),
    (lambda records: records.change(powerline=b"\0"), "the powerline chip holds: found 1 bytes"),
    (lambda records: records.change(packages={**GOOD.left.packages, "site-report": ("2.0", "half-installed")}),
     "the package site-report: found 2.0 half-installed"),
    (lambda records: records.change(files={}), "the file /etc/installed/greeting: found nothing"),
    (lambda records: records.change(tools=("sysupgrade", *GOOD.left.tools)), "tools that were called"),
    (lambda records: records.change(left_behind=("x.bin",)), "left behind in /tmp: found x.bin"),
])
def test_deviation_is_a_problem(spoil, told):
    records = Records()

    spoil(records)

    assert any(told in problem for problem in records.problems())


def test_logged_error_is_a_problem():
    story = Story(Screen(io.StringIO()), GOOD, verbose=False)

    story.take(daemon_log.parse("18:00:01 ERROR a.cpp:1 f: event=exception_caught what=too bad"))

    assert Records().problems(story) == ["the daemon logged an error: too bad"]
