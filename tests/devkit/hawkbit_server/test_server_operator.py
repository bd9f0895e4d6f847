# SPDX-License-Identifier: Apache-2.0
"""The operator's steps, and how the device sees them."""

from __future__ import annotations

import re

import pytest
from throwaway_device import Device

from hawkbit_server import Event, OperatorError, SoftwareModule, Status, UpdateServer, Window


def module(server: UpdateServer, name: str = "a") -> SoftwareModule:
    return server.software_module("script", name, "1", {"a.sh": b"x"})


def links(device: Device) -> list[str]:
    return list(device.get().json().get("_links", {}))


def change_hash(device: Device) -> int:
    found = re.search(r"\?c=(-?\d+)$", device.get().json()["_links"]["deploymentBase"]["href"])
    assert found is not None
    return int(found[1])


def handling(device: Device, action_id: int) -> tuple[str, str]:
    deployment = device.get(f"deploymentBase/{action_id}").json()["deployment"]
    return deployment["download"], deployment["update"]


def test_soft_action_can_become_forced(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [module(server)], "soft")
    assert handling(device, action.id) == ("attempt", "attempt")
    before = change_hash(device)

    server.force(action)

    assert handling(device, action.id) == ("forced", "forced")
    assert change_hash(device) != before


def test_time_forced_action_becomes_forced_at_its_time() -> None:
    now = [1000.0]
    with UpdateServer(clock=lambda: now[0]) as server:
        device = Device(server, "gw-1")
        action = server.assign("gw-1", [module(server)], "timeforced", force_time=2000.0)
        assert handling(device, action.id) == ("attempt", "attempt")

        now[0] = 2000.0

        assert handling(device, action.id) == ("forced", "forced")


def test_maintenance_window_opens_and_closes_by_hand(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [module(server)], "soft", window=Window())
    before = change_hash(device)
    assert handling(device, action.id) == ("attempt", "skip")

    server.open_window(action)

    document = device.get(f"deploymentBase/{action.id}").json()
    assert document["deployment"]["maintenanceWindow"] == "available"
    assert handling(device, action.id) == ("attempt", "attempt")
    assert change_hash(device) != before
    server.close_window(action)
    assert handling(device, action.id) == ("attempt", "skip")


def test_polls_get_shorter_towards_the_window() -> None:
    now = [1000.0]
    with UpdateServer(clock=lambda: now[0], min_poll="00:00:02") as server:
        device = Device(server, "gw-1")
        server.assign("gw-1", [module(server)], window=Window(opens_at=1060.0))
        sleeps = []
        for at in (-5000.0, 1000.0, 1045.0, 1059.0, 1060.0):
            now[0] = at
            sleeps.append(device.get().json()["config"]["polling"]["sleep"])

    assert sleeps == ["00:05:00", "00:00:20", "00:00:05", "00:00:02", "00:05:00"]


def test_cancelled_action_shows_only_its_cancellation(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [module(server)])
    path = f"softwaremodules/{action.distribution_set.modules[0].id}/artifacts/a.sh"
    assert device.get(path).status == 200

    server.cancel(action)

    assert links(device) == ["cancelAction", "configData"]
    assert device.get(f"deploymentBase/{action.id}").status == 404
    assert device.get(path).status == 404
    assert device.get(f"cancelAction/{action.id}").json()["cancelAction"] == {"stopId": str(action.id)}


def test_cancel_of_an_action_that_is_not_cancelled(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [module(server)])

    assert device.get(f"cancelAction/{action.id}").status == 404
    assert device.report(action.id, "closed", "success", cancel=True).status == 405


def test_new_assignment_cancels_the_older_action(server: UpdateServer, device: Device) -> None:
    older, newer = (server.assign("gw-1", [module(server, name)]) for name in ("a", "b"))
    assert older.status is Status.CANCELING
    assert device.get().json()["_links"]["cancelAction"]["href"].endswith(f"/{older.id}")

    device.report(older.id, "closed", "success", cancel=True)

    assert f"/deploymentBase/{newer.id}?" in device.get().json()["_links"]["deploymentBase"]["href"]


def test_refused_cancel_brings_the_older_action_back(server: UpdateServer, device: Device) -> None:
    older, newer = (server.assign("gw-1", [module(server, name)]) for name in ("a", "b"))

    device.report(older.id, "closed", "failure", "no", cancel=True)

    assert f"/deploymentBase/{older.id}?" in device.get().json()["_links"]["deploymentBase"]["href"]
    assert device.history(older.id) == {"status": "RUNNING", "messages": ["no", "Assignment initiated by user 'admin'"]}
    assert newer.active


def test_auto_close_ends_the_older_action_at_once(server: UpdateServer, device: Device) -> None:
    server.settings.auto_close = True
    older, newer = (server.assign("gw-1", [module(server, name)]) for name in ("a", "b"))

    assert (older.status, older.active) == (Status.CANCELED, False)
    assert f"/deploymentBase/{newer.id}?" in device.get().json()["_links"]["deploymentBase"]["href"]
    assert device.report(older.id, "proceeding", "none").status == 410


def test_steps_that_the_real_server_refuses(server: UpdateServer) -> None:
    action = server.assign("gw-1", [module(server)])
    for step in (lambda: server.force_quit(action), lambda: server.open_window(action),
                 lambda: server.assign("gw-1", action.distribution_set), lambda: server.assign("gw-1", []),
                 lambda: server.assign("gw-2", [module(server)], "timeforced")):
        with pytest.raises(OperatorError):
            step()
    server.cancel(action)
    with pytest.raises(OperatorError):
        server.cancel(action)
    server.force_quit(action)
    assert (action.status, action.active) == (Status.CANCELED, False)


def test_failed_set_may_be_assigned_again_but_not_an_installed_one(server: UpdateServer, device: Device) -> None:
    chosen = server.distribution_set([module(server)])
    first = server.assign("gw-1", chosen)
    device.report(first.id, "closed", "failure")
    assert server.target("gw-1").update_status == "error"

    second = server.assign("gw-1", chosen)
    device.report(second.id, "closed", "success")

    assert server.target("gw-1").update_status == "in_sync"
    with pytest.raises(OperatorError):
        server.assign("gw-1", chosen)


@pytest.mark.parametrize("files", [{"": b"x"}, {"a.sh": b""}])
def test_artifact_without_name_or_content_is_refused(server: UpdateServer, files: dict[str, bytes]) -> None:
    with pytest.raises(ValueError, match=r"needs a file name|is empty"):
        server.software_module("script", "a", "1", files)


def test_legacy_names_of_parts_and_order_of_chunks(server: UpdateServer, device: Device) -> None:
    kinds = ("application", "runtime", "os")
    action = server.assign("gw-1", [server.software_module(kind, kind, "1") for kind in kinds])

    def parts() -> list[str]:
        document = device.get(f"deploymentBase/{action.id}").json()
        return [chunk["part"] for chunk in document["deployment"]["chunks"]]

    assert parts() == ["bApp", "jvm", "os"]
    server.settings.chunk_order = "reversed"
    assert parts() == ["os", "jvm", "bApp"]


def test_observers_get_the_events_of_a_deployment(server: UpdateServer, device: Device) -> None:
    events: list[Event] = []
    server.observe(events.append)
    action = server.assign("gw-1", [module(server)])
    device.get()
    device.get(f"deploymentBase/{action.id}")
    device.get(f"softwaremodules/{action.distribution_set.modules[0].id}/artifacts/a.sh")
    device.report(action.id, "closed", "success", "done")
    device.report(action.id, "closed", "success", "done")

    assert [event.name for event in events] == ["registered", "assigned", "polled", "offered", "downloading",
                                                "feedback", "refused"]
    assert events[5].data["details"] == ("done",)
    assert events[6].data["status"] == 410


def test_exchanges_are_recorded_in_order(server: UpdateServer, device: Device) -> None:
    action = server.assign("gw-1", [module(server)])
    device.get()
    device.get(f"deploymentBase/{action.id}?actionHistory=10")
    device.report(action.id, "proceeding", "none", "text")
    Device(server, "gw-2").get()

    records = server.exchanges(target="gw-1")

    assert [(each.kind, each.method, each.action, each.status) for each in records] == [
        ("base", "GET", None, 200), ("deploymentBase", "GET", action.id, 200), ("feedback", "POST", action.id, 200)]
    assert records[1].query == "actionHistory=10"
    assert records[1].response_json()["id"] == str(action.id)
    assert records[2].json()["status"]["details"] == ["text"]
    assert records[2].headers["content-type"] == "application/json"
    assert len(server.exchanges("base")) == 2


def test_waiting_ends_with_the_condition_or_with_an_error(server: UpdateServer) -> None:
    assert server.wait_for(lambda: 7, 5) == 7
    with pytest.raises(TimeoutError, match="the moon"):
        server.wait_for(lambda: False, 0.1, "the moon")


def test_condition_of_wait_for_may_send_requests(server: UpdateServer, device: Device) -> None:
    assert server.wait_for(lambda: device.get().status == 200 and server.target("gw-1").polls > 2, 20)


def test_server_comes_back_at_the_same_address_with_its_records() -> None:
    server = UpdateServer()
    with server:
        address = server.address
        Device(server, "gw-1").get()
        with pytest.raises(RuntimeError):
            server.start()
    with pytest.raises(OSError):
        Device(server, "gw-1").get()

    with server:
        assert server.address == address
        Device(server, "gw-1").get()

    assert server.target("gw-1").polls == 2


def test_settings_are_checked() -> None:
    for name, value in (("poll", "24:00:00"), ("poll", "1:00:00"), ("history_order", "any"), ("chunk_order", "any")):
        with pytest.raises(ValueError, match=r"is not HH:MM:SS|must be one of"):
            UpdateServer(**{name: value})
    server = UpdateServer()
    with pytest.raises(AttributeError):
        server.settings.pool = "00:00:05"
