# SPDX-License-Identifier: Apache-2.0
"""Whether the judge of random histories sees what must not happen, and whether a kept history can be played alone."""
import json
import pathlib

import pytest

import verdict
from gateway_bench import VIRTUAL_TIME
from hawkbit_server import Status
from history import Violation
from play import Play
from verdict import Verdict

pytestmark = pytest.mark.skipif(not VIRTUAL_TIME.exists(), reason="a build with sanitizers has no virtual time")

# How long an undisturbed deployment may take.
MINUTES = 60
KEPT = sorted((pathlib.Path(__file__).parent / "kept").glob("*.json"))


@pytest.fixture(name="play")
def fixture_play(tmp_path, pki):
    play = Play(tmp_path, pki)
    yield play
    play.close()


def deploy(play, *parts, options="shipped"):
    play.begin(options, automatic=True, window=False)
    play.assign("forced", list(parts))
    # Waits between tries are drawn, and a busy machine is slow by the gateway's clock.
    for _ in range(MINUTES):
        play.let_pass(60)
        if not play.actions[0].active:
            return play.actions[0]
    raise AssertionError(f"not carried out within {MINUTES} minutes")


@pytest.mark.parametrize("file", KEPT, ids=lambda file: file.stem)
def test_kept_history_breaks_no_rule(play, file):
    for step, arguments in json.loads(file.read_text(encoding="utf-8")):
        getattr(play, step)(**arguments)

    Verdict(play).judge()


def test_other_file_than_those_of_a_withdrawn_action_is_a_violation(play):
    play.begin("none", automatic=False, window=True)
    play.assign("forced", ["zw"])
    play.let_pass(16)
    play.outage()
    play.kill()
    play.withdraw()
    (play.bench.gateway.tmp / "stray").write_bytes(b"")

    with pytest.raises(Violation, match="left behind"):
        Verdict(play).judge()


@pytest.mark.parametrize("options", ["none", "shipped"])
def test_adapters_get_their_firmware(play, options):
    play.begin(options, automatic=True, window=False, adapters=True)
    for number in (0, 1):
        play.assign_adapter(number, "forced")
    play.let_pass(400)

    Verdict(play).judge()

    assert [action.status for action in play.actions[:2]] == [Status.FINISHED] * 2


def test_firmware_that_an_adapter_lacks_is_a_violation(play):
    play.begin("shipped", automatic=True, window=False, adapters=True)
    play.assign_adapter(0, "forced")
    play.let_pass(400)
    play.adapters.set_firmware(0, "1.0")
    play.modules.see_again(play.actions[0])

    with pytest.raises(Violation, match="finished without plc_ghn1"):
        Verdict(play).judge()


def test_adapter_that_was_lost_gets_its_firmware_when_it_is_back(play):
    play.begin("shipped", automatic=True, window=False, adapters=True)
    play.let_pass(60)
    play.adapter(1, "unplug")
    play.let_pass(120)
    play.assign_adapter(1, "forced")
    play.let_pass(1200)
    was_open = play.is_open()

    Verdict(play).judge()

    assert was_open
    assert play.actions[0].status is Status.FINISHED


@pytest.mark.parametrize("dormant, polls", [("never", True), ("after reboot", False), ("always", False)])
def test_dormant_gateway_polls_when_it_is_told_to(play, dormant, polls):
    play.begin("shipped", automatic=True, window=False, dormant=dormant)
    play.assign("forced", ["os"])
    play.let_pass(8)
    play.force_poll()
    play.let_pass(1200)
    closed = not play.is_open()
    play.assign("forced", ["script"])
    play.let_pass(1200)

    assert closed
    assert play.is_open() != polls

    Verdict(play).judge()


@pytest.mark.parametrize("wall", [60, 2**31 - 60])
def test_clock_that_was_set_is_right_again_at_the_end(play, wall):
    deploy(play, "script")
    play.set_clock(wall)
    shown = play.clock.wall()
    play.assign("forced", ["zw"])
    play.let_pass(1200)

    Verdict(play).judge()

    assert shown == pytest.approx(wall, abs=1)
    assert play.clock.wall() == pytest.approx(play.clock.right(), abs=1)
    assert play.actions[1].status is Status.FINISHED


def test_server_has_a_clock_of_its_own(play):
    action = deploy(play, "script")
    play.shift_clock(-400 * 24 * 3600)
    play.assign("forced", ["script"])
    play.let_pass(1200)

    assert play.actions[1].entries[-1].occurred_at > action.entries[-1].occurred_at


def test_script_that_fails_is_a_true_failure(play):
    action = deploy(play, "bad")

    Verdict(play).judge()

    assert action.status is Status.ERROR


def test_success_without_a_part_is_a_violation(play):
    deploy(play, "script", "zw")
    (play.bench.gateway.run_dir / "chips/zwave").write_bytes(b"another")
    play.modules.see_again(play.actions[0])

    with pytest.raises(Violation, match="finished without zw2"):
        Verdict(play).judge()


def test_failure_with_every_part_is_a_violation(play):
    action = deploy(play, "script")
    action.entries[-1] = type(action.entries[-1])(Status.ERROR, ("no",), 0)

    with pytest.raises(Violation, match="everything is there"):
        Verdict(play).judge()


def test_second_end_is_a_violation(play):
    action = deploy(play, "script")
    action.entries.append(action.entries[-1])

    with pytest.raises(Violation, match="closed 2 times"):
        Verdict(play).judge()


def test_second_confirmation_whose_answer_was_not_lost_is_a_violation(play):
    play.begin("shipped", automatic=True, window=False)
    play.assign("forced", ["script"])
    play.cancel()
    play.let_pass(20)
    assert play.actions[0].status is Status.CANCELED
    play.actions[0].entries.append(play.actions[0].entries[-1])

    with pytest.raises(Violation, match="closed 2 times"):
        Verdict(play).judge()


def test_action_that_stays_open_is_a_violation(play, monkeypatch):
    monkeypatch.setattr(verdict, "PATIENCE", 600)
    monkeypatch.setattr(play, "heal", lambda: None)
    play.begin("shipped", automatic=True, window=False)
    play.outage()
    play.assign("forced", ["script"])

    with pytest.raises(Violation, match="end of what was open"):
        Verdict(play).judge()


def test_crash_is_a_violation(play):
    deploy(play, "script")
    play.bench.supervisor.daemon.signal(11)
    play.let_pass(60)

    with pytest.raises(Violation, match="-11"):
        Verdict(play).judge()


def test_file_that_is_left_behind_is_a_violation(play):
    deploy(play, "script")
    (play.bench.gateway.tmp / "zephran/forgotten").write_bytes(b"")

    with pytest.raises(Violation, match="forgotten"):
        Verdict(play).judge()


def test_too_many_exchanges_are_a_violation(play, monkeypatch):
    monkeypatch.setattr(verdict, "EXCHANGES", 0)
    monkeypatch.setattr(verdict, "EXCHANGES_A_SECOND", 0)
    deploy(play, "script")

    with pytest.raises(Violation, match="exchanges instead of"):
        Verdict(play).judge()


def test_same_steps_lead_to_the_same_exchanges(tmp_path, pki):
    seen = []
    for number in (1, 2):
        (tmp_path / str(number)).mkdir()
        play = Play(tmp_path / str(number), pki)
        # With the shipped limits a busy machine may be too slow for an answer.
        deploy(play, "script", "zw", options="none")
        seen.append([each.kind for each in play.bench.server.exchanges()])
        play.close()

    assert seen[0] == seen[1]
