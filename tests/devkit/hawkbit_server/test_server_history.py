# SPDX-License-Identifier: Apache-2.0
"""The order of the action history."""

from __future__ import annotations

import random

import pytest
from throwaway_device import Device

from hawkbit_server import Status, StatusEntry, UpdateServer, history

ASSIGNMENT = "Assignment initiated by user 'admin'"


def entries(*reports: tuple[str | None, ...]) -> list[StatusEntry]:
    return [StatusEntry(Status.RUNNING, report, at) for at, report in enumerate(reports)]


def read(reports: list[StatusEntry], count: int, order: str) -> list[str]:
    return history.read(reports, count, order, random.Random(1))


def test_newest_report_comes_first_in_sent_order() -> None:
    reports = entries(("note",), ("a", "b"), ("c", "d"))

    assert read(reports, 10, "kept") == ["c", "d", "a", "b", "note"]


def test_own_messages_and_null_are_hidden() -> None:
    reports = entries(("note",), ("Update Server: hidden", "shown"), (None,), ("Update Server: x",))

    assert read(reports, 10, "kept") == ["shown", "note"]


def test_reports_are_sorted_by_their_time_not_by_their_arrival() -> None:
    reports = [StatusEntry(Status.RUNNING, ("late",), 9), StatusEntry(Status.RUNNING, ("early",), 3)]

    assert read(reports, 10, "kept") == ["late", "early"]


@pytest.mark.parametrize("requested, shown", [(0, 0), (1, 1), (10, 10), (100, 100), (101, 100), (-1, 100)])
def test_number_of_messages(requested: int, shown: int) -> None:
    reports = entries(*((str(number),) for number in range(150)))

    assert len(read(reports, requested, "kept")) == shown


def test_pair_is_swapped_only_when_not_all_messages_are_shown() -> None:
    ten = entries(*(("older",),) * 8, ("Installation started", "script:a:1"))
    eleven = entries(*(("older",),) * 9, ("Installation started", "script:a:1"))

    assert read(ten, 10, "swapped")[:2] == ["Installation started", "script:a:1"]
    assert read(eleven, 10, "swapped")[:2] == ["script:a:1", "Installation started"]
    assert read(eleven, 100, "swapped")[:2] == ["Installation started", "script:a:1"]
    assert read(eleven, 10, "kept")[:2] == ["Installation started", "script:a:1"]


def test_output_comes_before_the_text_when_three_pieces_are_mixed() -> None:
    reports = entries(*(("older",),) * 9, ("Chunk deployed", "script:a:1", "output"))

    assert read(reports, 10, "swapped")[:3] == ["output", "Chunk deployed", "script:a:1"]


def test_shuffling_stays_within_reports() -> None:
    reports = entries(*((f"{number}a", f"{number}b", f"{number}c") for number in range(5)))

    mixed = [history.read(reports, 12, "shuffled", random.Random(seed)) for seed in range(20)]

    for messages in mixed:
        assert [text[0] for text in messages] == list("444333222111")
    assert len({tuple(messages) for messages in mixed}) > 10


def test_fresh_action_shows_the_assignment_and_running_then_retrieved(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [server.software_module("script", "a", "1")])

    first, second = device.history(action.id), device.history(action.id)

    assert first == {"status": "RUNNING", "messages": [ASSIGNMENT]}
    assert second == {"status": "RETRIEVED", "messages": [ASSIGNMENT]}
    assert [entry.type for entry in action.entries] == [Status.RUNNING, Status.RETRIEVED]


def test_without_assignment_message_a_fresh_action_has_no_history(server: UpdateServer, device: Device) -> None:
    server.settings.assignment_message = False
    action = server.assign("gw-1", [server.software_module("script", "a", "1")])

    assert device.history(action.id) is None


def test_device_timestamps_decide_the_order(server: UpdateServer, device: Device) -> None:
    server.settings.assignment_message = False
    action = server.assign("gw-1", [server.software_module("script", "a", "1")])
    for text, stamp in (("late", 2000), ("early", 1000)):
        body = {"timestamp": stamp, "status": {"execution": "proceeding", "result": {"finished": "none"},
                                               "details": [text]}}
        assert device.send("POST", f"deploymentBase/{action.id}/feedback", body).status == 200

    assert device.history(action.id)["messages"] == ["late", "early"]


def test_halves_of_a_character_that_was_cut_are_handed_out_as_escapes(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [server.software_module("script", "job", "1")])
    device.report(action.id, "proceeding", "none", "x" * 511 + "\N{GRINNING FACE}!")

    answer = device.get(f"deploymentBase/{action.id}?actionHistory=10")

    assert b"x\\ud83d\"" in answer.body.lower()
    assert answer.json()["actionHistory"]["messages"][:2] == ["x" * 511 + "\ud83d", "\ude00!"]
