# SPDX-License-Identifier: Apache-2.0
"""The verdict on the powerline network finds every deviation."""
from types import SimpleNamespace

import pytest

from demo import ghn_verdict
from demo.ghn_scene import ADDRESS, GATEWAY, NEW_FIRMWARE, OLD_FIRMWARE, SERIAL
from demo.ghn_story import GhnStory
from hawkbit_server import Status

UPDATED, UNPLUGGED = "02:00:00:00:00:0a", ADDRESS
TO_MODEM = f"configlayer -i br-lan -w secret -m {UPDATED}"
CALLS = [
    "configlayer -i br-lan -w secret -m 02:00:00:00:00:01 -o GET -p DIDMNG.GENERAL.MACS",
    f"{TO_MODEM} -o SET -p FLUPGRADE.GENERAL.SOURCE=L2 -p FLUPGRADE.GENERAL.SECTION=OSUP "
    "-p FLUPGRADE.GENERAL.START=YES",
    f"l2fwserver /tmp/adapter.bin br-lan -m {UPDATED}",
    f"{TO_MODEM} -o GET -p FLUPGRADE.GENERAL.STATUS -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO",
    f"{TO_MODEM} -o SET -p SYSTEM.GENERAL.HW_RESET=1",
    f"{TO_MODEM} -t 5000 -r 15 -o GET -p SYSTEM.GENERAL.FW_VERSION",
]


class Records:
    """The records after a good demonstration."""

    def __init__(self):
        self.calls = list(CALLS)
        self.left = []
        self.attributes = {
            name: {"device_type": "ghn", "firmware_version": OLD_FIRMWARE, "hw_product": "PLC-500",
                   "hw_revision": "2", "parent": GATEWAY, "product_class": "GHN", "device_name": room}
            for name, room in ((SERIAL, "living room"), (ADDRESS, "attic"))}
        self.action = SimpleNamespace(status=Status.FINISHED, spoilt=False)
        self.story = GhnStory(None, False)
        self.story.found, self.story.lost = [UPDATED, UNPLUGGED], [UNPLUGGED]
        self.before, self.after = {GATEWAY: {}, SERIAL: {}, ADDRESS: {}}, {GATEWAY: {}, SERIAL: {}}
        self.scene = SimpleNamespace(
            to_update=SimpleNamespace(mac=UPDATED, firmware=NEW_FIRMWARE),
            to_unplug=SimpleNamespace(mac=UNPLUGGED, firmware=OLD_FIRMWARE),
            powerline=SimpleNamespace(interface="br-lan", password="secret"),
            gateway=SimpleNamespace(calls=lambda: self.calls, leftovers=lambda: self.left),
            server=SimpleNamespace(
                target=lambda name: SimpleNamespace(attributes=self.attributes[name])))

    def problems(self):
        return list(ghn_verdict.problems(self.scene, self.action, self.story, self.before, self.after))


@pytest.fixture(name="records")
def fixture_records():
    return Records()


def test_good_record_has_no_fault(records):
    assert records.problems() == []


@pytest.mark.parametrize("spoil, text", [
    (lambda it: it.before.pop(ADDRESS), "when discovery had found"),
    (lambda it: it.after.update({ADDRESS: {}}), "when discovery had unplugged one"),
    (lambda it: setattr(it.action, "status", Status.ERROR), "recorded error"),
    (lambda it: setattr(it.action, "spoilt", True), "instead of finished"),
    (lambda it: it.attributes[SERIAL].pop("parent"), f"the attributes of {SERIAL}"),
    (lambda it: it.attributes[ADDRESS].update(device_name=""), f"the attributes of {ADDRESS}"),
    (lambda it: setattr(it.scene.to_update, "firmware", OLD_FIRMWARE), f"{UPDATED} runs"),
    (lambda it: setattr(it.scene.to_unplug, "firmware", NEW_FIRMWARE), f"{UNPLUGGED} runs"),
    (lambda it: it.calls.pop(), "the adapter was updated by"),
    (lambda it: it.story.found.pop(), "discovery found"),
    (lambda it: it.story.lost.append(UPDATED), "discovery lost"),
    (lambda it: it.story.refusals.append("feedback: 400"), "refused a request"),
    (lambda it: it.story.errors.append("ERROR"), "logged an error"),
    (lambda it: it.left.append("adapter.bin"), "left on the gateway"),
])
def test_fault_is_named(records, spoil, text):
    spoil(records)

    problems = records.problems()

    assert len(problems) == 1
    assert text in problems[0]
