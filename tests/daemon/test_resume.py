# SPDX-License-Identifier: Apache-2.0
"""A deployment resumes after a power cut or after the daemon was killed."""
import pytest

from hawkbit_server import Status
from held_script import HeldScript


def details(bench):
    return [report[3] for report in bench.reports()]


def test_deployment_resumes_after_a_kill_during_the_first_chunk(bench):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, bench.script("two", "echo two"))
    daemon = bench.start()
    held.wait_until_it_runs()

    daemon.kill()
    second = bench.start()
    bench.wait_for_end(action)
    held.release()

    second.wait_for_line("WARNING .*action=resume message=resuming deployment")
    assert action.status is Status.FINISHED
    assert held.runs == 1
    assert len(bench.exchanges("artifact")) == 2
    # A started script counts as done; its output was lost with the daemon.
    assert details(bench) == [
        ["Installation started", "script:one:1.0"], ["Chunk deployed", "script:one:1.0"],
        ["Installation started", "script:two:1.0"], ["Chunk deployed", "script:two:1.0", "two\n"],
        ["Deployment successful"]]
    assert bench.gateway.leftovers() == held.own_files


@pytest.mark.differs("chunk-order")
def test_deployment_resumes_from_a_reordered_history_after_a_power_cut(bench):
    held = HeldScript(bench, "three")
    long_output = "i=0; while [ $i -lt 30 ]; do echo 'a line of some length:' $i; i=$((i+1)); done"
    action = bench.assign(bench.script("one", long_output), bench.script("two", long_output),
                          held.module, bench.script("four", "echo four"))
    bench.start()
    held.wait_until_it_runs()

    bench.gateway.reboot()
    second = bench.start()
    bench.wait_for_end(action)

    history = bench.exchanges("deploymentBase")[-1].response_json()["actionHistory"]["messages"]
    assert history[:2] == ["script:three:1.0", "Installation started"]
    second.wait_for_line("message=resuming deployment")
    assert action.status is Status.FINISHED
    assert held.runs == 0
    assert [report[2:] for report in bench.reports()[5:]] == [
        ("1/2", ["Chunk deployed", "script:three:1.0"]),
        ("1/2", ["Installation started", "script:four:1.0"]),
        ("2/2", ["Chunk deployed", "script:four:1.0", "four\n"]),
        ("2/2", ["Deployment successful"])]
    assert bench.gateway.leftovers() == []


def test_started_soft_deployment_needs_no_consent_to_resume(bench):
    held = HeldScript(bench, "one")
    action = bench.assign(held.module, type="soft")
    bench.start()
    held.wait_until_it_runs()

    bench.gateway.reboot()
    bench.configure("service.automatic_update", "0")
    bench.start()
    bench.wait_for_end(action)

    assert action.status is Status.FINISHED


def test_deployment_restarts_after_a_kill_between_two_chunks(bench):
    # The newest report is then "Chunk deployed", which says nothing about a running installation.
    held = HeldScript(bench, "two")
    action = bench.assign(bench.script("one", "echo one"), held.module)
    stall = bench.stall("artifact", first=2)
    daemon = bench.start()
    bench.wait_until(stall.reached.is_set, "the download of the second chunk")

    daemon.kill()
    stall.release()
    second = bench.start()
    held.wait_until_it_runs()
    held.release()
    bench.wait_for_end(action)

    second.wait_for_line("ERROR .*action=resume_deployment")
    assert details(bench).count(["Installation started", "script:one:1.0"]) == 2
    assert action.status is Status.FINISHED
    assert bench.gateway.leftovers() == held.own_files
