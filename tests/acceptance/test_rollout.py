# SPDX-License-Identifier: Apache-2.0
"""A rollout over a fleet, each gateway with its own daemon."""
import re

from driver import wait_for
from gateway_bench import TIMEOUT
from outcomes import poll_again, texts_of, was_closed_once

FLEET = 20
INITIATED = r"Initiated by Rollout Group 'group-(\d)' \[Rollout {name}:\d+\]"


def has_run(home):
    return (home.gateway.tmp / "state-ran").exists()


def test_rollout_goes_group_after_group(make_home, label):
    fleet = [make_home() for _ in range(FLEET)]
    for home in fleet:
        home.start()
    for home in fleet:
        home.wait_until_registered()
    server = fleet[0].server
    update = fleet[0].script("update", "touch /tmp/state-ran; echo updated")
    rollout = server.start_rollout(label, [home.device for home in fleet], [update], groups=2)
    first_to_run = set()

    def is_over():
        ran = {home.device for home in fleet if has_run(home)}
        if rollout.groups()[0] != "finished":
            first_to_run.update(ran)
        for home in fleet:
            home.check_alive("the end of the rollout")
        return rollout.status() == "finished"
    wait_for(is_over, TIMEOUT, "the end of the rollout")
    poll_again(*fleet)

    groups = {"1": set(), "2": set()}
    for home in fleet:
        record = was_closed_once(home, rollout.action_of(home.device))
        group = re.fullmatch(INITIATED.format(name=label), record.messages[0]).group(1)
        groups[group].add(home.device)
        assert texts_of(record, "finished") == [["Deployment successful"]]
        assert home.server.target(home.device).update_status == "in_sync"
    assert [len(group) for group in groups.values()] == [FLEET / 2, FLEET / 2]
    assert first_to_run <= groups["1"]
    assert all(has_run(home) for home in fleet)
    assert rollout.groups() == ["finished", "finished"]
