# SPDX-License-Identifier: Apache-2.0
"""Rollouts over groups of targets."""

from __future__ import annotations

from collections.abc import Iterator

import pytest
from throwaway_device import Device

from hawkbit_server import OperatorError, Rollout, Status, UpdateServer

TARGETS = ["gw-1", "gw-2", "gw-3"]
INTERVAL = 2.0


class Scene:
    """A server with a manual clock, and a device for each target."""

    def __init__(self) -> None:
        self.now = 1000.0
        self.server = UpdateServer(clock=lambda: self.now, rollout_interval=INTERVAL)
        self.server.start()
        self.devices = {name: Device(self.server, name) for name in TARGETS}
        for device in self.devices.values():
            device.get()

    def close(self) -> None:
        for device in self.devices.values():
            device.connection.close()
        self.server.stop()

    def roll_out(self, groups: int = 2) -> Rollout:
        module = self.server.software_module("script", "a", "1", {"a.sh": b"x"})
        return self.server.rollout("weekly", TARGETS, [module], groups)

    def finish(self, rollout: Rollout, *names: str, result: str = "success") -> None:
        for name in names:
            action = rollout.action_of(name)
            assert action is not None
            assert self.devices[name].report(action.id, "closed", result).status == 200

    def let_the_scheduler_look(self) -> None:
        self.now += INTERVAL
        self.devices["gw-1"].get()

    def offered(self) -> list[str]:
        return [name for name, device in self.devices.items()
                if "deploymentBase" in device.get().json().get("_links", {})]


@pytest.fixture(name="scene")
def fixture_scene() -> Iterator[Scene]:
    scene = Scene()
    yield scene
    scene.close()


def test_first_group_is_offered_its_actions_with_the_name_of_group_and_rollout(scene: Scene) -> None:
    rollout = scene.roll_out()

    action = rollout.action_of("gw-1")
    assert action is not None
    assert (rollout.status, rollout.groups()) == ("running", ["running", "scheduled"])
    assert scene.offered() == ["gw-1", "gw-2"]
    assert scene.devices["gw-1"].history(action.id)["messages"] == [
        f"Initiated by Rollout Group 'group-1' [Rollout weekly:{rollout.id}]"]


def test_action_of_a_later_group_waits(scene: Scene) -> None:
    action = scene.roll_out().action_of("gw-3")

    assert action is not None
    assert (action.active, action.status, action.entries) == (False, Status.SCHEDULED, [])


def test_next_group_begins_when_all_of_the_one_before_have_finished(scene: Scene) -> None:
    rollout = scene.roll_out()

    scene.finish(rollout, "gw-1")
    scene.let_the_scheduler_look()
    half_way = rollout.groups()
    scene.finish(rollout, "gw-2")
    too_early = rollout.groups()
    scene.let_the_scheduler_look()

    assert half_way == too_early == ["running", "scheduled"]
    assert (rollout.status, rollout.groups()) == ("running", ["finished", "running"])
    assert scene.offered() == ["gw-3"]


def test_rollout_is_finished_with_its_last_group(scene: Scene) -> None:
    rollout = scene.roll_out(groups=1)

    scene.finish(rollout, *TARGETS)
    scene.let_the_scheduler_look()

    assert (rollout.status, rollout.groups()) == ("finished", ["finished"])


def test_action_read_again_after_its_end_stalls_the_rollout(scene: Scene) -> None:
    rollout = scene.roll_out()

    scene.finish(rollout, "gw-1", "gw-2")
    action = rollout.action_of("gw-2")
    assert action is not None
    scene.devices["gw-2"].get(f"deploymentBase/{action.id}")
    scene.let_the_scheduler_look()

    assert action.status is Status.RETRIEVED
    assert rollout.groups() == ["running", "scheduled"]


def test_failed_action_stalls_the_rollout(scene: Scene) -> None:
    rollout = scene.roll_out()

    scene.finish(rollout, "gw-1")
    scene.finish(rollout, "gw-2", result="failure")
    scene.let_the_scheduler_look()

    assert rollout.groups() == ["running", "scheduled"]


def test_older_action_of_a_target_is_cancelled_when_its_group_begins(scene: Scene) -> None:
    module = scene.server.software_module("script", "old", "1", {"a.sh": b"x"})
    older = scene.server.assign("gw-3", [module])
    rollout = scene.roll_out()
    before = older.status

    scene.finish(rollout, "gw-1", "gw-2")
    scene.let_the_scheduler_look()

    assert before is Status.RUNNING
    assert older.status is Status.CANCELING


@pytest.mark.parametrize("groups", [0, 4])
def test_impossible_number_of_groups_is_refused(scene: Scene, groups: int) -> None:
    with pytest.raises(OperatorError, match=f"3 targets cannot be put into {groups} groups"):
        scene.roll_out(groups)


def test_unknown_target_is_refused(scene: Scene) -> None:
    module = scene.server.software_module("script", "a", "1", {"a.sh": b"x"})

    with pytest.raises(OperatorError, match="does not know gw-9"):
        scene.server.rollout("weekly", ["gw-1", "gw-9"], [module], 1)
