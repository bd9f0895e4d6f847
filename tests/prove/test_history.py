# SPDX-License-Identifier: Apache-2.0
"""Whether the judge of histories sees what must not happen."""
import re

import pytest

import history as histories
from hawkbit_server import Code
from history import History, Violation
from troubles import TROUBLES, Exchange, Trouble


@pytest.fixture(name="history")
def fixture_history(tmp_path, pki):
    history = History(tmp_path, pki, "shipped")
    yield history
    history.close()


def test_undisturbed_history_ends_well(history):
    history.play()

    assert history.judge(history.exchanges()) == "finished"


def test_success_without_a_part_is_a_violation(history):
    history.play()
    (history.bench.gateway.run_dir / "chips/zwave").unlink()

    with pytest.raises(Violation, match="finished without zw"):
        history.judge(history.exchanges())


def test_failure_with_every_part_is_a_violation(history):
    history.play()
    history.action.status = histories.Status.ERROR

    with pytest.raises(Violation, match="everything is there"):
        history.judge(history.exchanges())


def test_second_end_is_a_violation(history):
    history.play()
    history.action.entries.append(history.action.entries[-1])

    with pytest.raises(Violation, match="closed 2 times"):
        history.judge(history.exchanges())


def test_file_that_is_left_behind_is_a_violation(history, monkeypatch):
    monkeypatch.setattr(history.bench, "wait_until", _fail_at("the deletion of the files", history.bench.wait_until))
    history.play()
    (history.bench.gateway.tmp / "zephran/forgotten").write_bytes(b"")

    with pytest.raises(Violation, match="forgotten"):
        history.judge(history.exchanges())


def _fail_at(awaited, wait_until):
    """Gives up at once where files are still there, which would take long."""
    def wait(condition, what):
        if what != awaited:
            return wait_until(condition, what)
        if condition():
            return True
        raise TimeoutError
    return wait


def test_too_many_exchanges_are_a_violation(history, monkeypatch):
    monkeypatch.setattr(histories, "ROOM", 0)
    history.play()

    with pytest.raises(Violation, match="instead of"):
        history.judge(history.exchanges()[:1])


def test_trouble_meets_the_exchange_that_it_is_meant_for(history):
    order = history.play(Exchange(4, "deploymentBase", 100, 1), Trouble("status 500", lambda exchange: Code(500)))

    assert order.hits == 1
    assert history.bench.server.exchanges()[3].status == 500


def test_refusal_meets_the_exchange_that_it_is_meant_for(history):
    trouble = next(each for each in TROUBLES if each.name == "refused")
    refused = history.play(Exchange(4, "deploymentBase", 100, 1), trouble)

    log = "".join(daemon.log for daemon in history.bench.gateway.daemons)
    assert refused.hits == 1
    assert re.findall(r"event=http_error .*/deploymentBase/1.* code=7 ", log)
    assert "deploymentBase" not in [each.kind for each in history.bench.server.exchanges()[:3]]
    assert history.judge(history.exchanges()) == "finished"


def test_each_trouble_makes_a_fault_of_its_own():
    exchange = Exchange(4, "deploymentBase", 100, 7)

    made = [trouble.make(exchange) for trouble in TROUBLES]

    assert None not in made
    assert len({trouble.name for trouble in TROUBLES}) == len(TROUBLES)


def test_document_of_another_action_names_no_action_of_this_one():
    trouble = next(each for each in TROUBLES if each.name == "another action's document")
    document = b'{"id": "7", "link": "https://localhost/deploymentBase/7?c=1"}'

    changed = trouble.make(Exchange(4, "deploymentBase", 100, 7)).apply(document)

    assert changed == b'{"id": "999999", "link": "https://localhost/deploymentBase/999999?c=1"}'
