# SPDX-License-Identifier: Apache-2.0
"""Rollouts: one distribution set for many targets, group after group."""

from __future__ import annotations

import itertools
from collections.abc import Sequence
from dataclasses import dataclass, field

from .model import Action, ActionType, DistributionSet, Status, Target
from .store import Event, OperatorError, Store


@dataclass(eq=False)
class RolloutGroup:
    """Targets that are updated together. `status` is "scheduled", "running" or "finished"."""

    name: str
    actions: tuple[Action, ...] = field(repr=False)
    status: str = "scheduled"

    def succeeded(self) -> bool:
        """Whether all actions count as finished.

        An action that was read again after its end is "retrieved" and does not count, so its group runs forever.
        """
        return all(action.status is Status.FINISHED for action in self.actions)


class Rollout:
    """Begins with the first group; the next one starts when all actions of the previous one have succeeded.

    As on the real server, a scheduler starts the groups, so a group begins some time after the end of the previous
    one: at the first event or status query after `Settings.rollout_interval`.
    """

    def __init__(self, store: Store, name: str, targets: Sequence[Target], chosen: DistributionSet,
                 groups: int) -> None:
        if not 1 <= groups <= len(targets):
            raise OperatorError(f"{len(targets)} targets cannot be put into {groups} groups")
        self.name = name
        self._store = store
        with store.changed:
            self.id = store.number("rollout")
            self._groups = [self._plan(number, each, chosen)
                            for number, each in enumerate(_split(targets, groups), 1)]
            self._looked = store.clock()
            self._begin(self._groups[0])
        store.observers.append(self._on_event)

    @property
    def status(self) -> str:
        """Either "running" or "finished"."""
        return "finished" if self.groups()[-1] == "finished" else "running"

    def groups(self) -> list[str]:
        """The states of the groups, in order."""
        with self._store.changed:
            self._look_after()
            return [group.status for group in self._groups]

    def action_of(self, target_id: str) -> Action | None:
        """The action of a target. It is "scheduled" and not active until its group begins."""
        found = (action for group in self._groups for action in group.actions if action.target.id == target_id)
        return next(found, None)

    def _plan(self, number: int, targets: Sequence[Target], chosen: DistributionSet) -> RolloutGroup:
        return RolloutGroup(f"group-{number}", tuple(
            self._store.add_action(each, chosen, ActionType.FORCED, status=Status.SCHEDULED, active=False)
            for each in targets))

    def _on_event(self, event: Event) -> None:
        with self._store.changed:
            self._look_after()

    def _look_after(self) -> None:
        now = self._store.clock()
        if now - self._looked < self._store.settings.rollout_interval:
            return
        self._looked = now
        running = next((group for group in self._groups if group.status == "running"), None)
        if running is None or not running.succeeded():
            return
        running.status = "finished"
        following = next((group for group in self._groups if group.status == "scheduled"), None)
        if following is not None:
            self._begin(following)

    def _begin(self, group: RolloutGroup) -> None:
        group.status = "running"
        for action in group.actions:
            action.active = True
            action.set_status(Status.RUNNING)
            self._store.begin(action, f"Initiated by Rollout Group '{group.name}' [Rollout {self.name}:{self.id}]")


def _split(targets: Sequence[Target], groups: int) -> list[Sequence[Target]]:
    """Equal shares in the given order; the remainder goes to the first ones."""
    share, rest = divmod(len(targets), groups)
    ends = [number * share + min(number, rest) for number in range(groups + 1)]
    return [targets[begin:end] for begin, end in itertools.pairwise(ends)]
