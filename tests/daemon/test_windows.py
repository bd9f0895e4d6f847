# SPDX-License-Identifier: Apache-2.0
"""Deployments that the server tells the device not to install, now or ever."""
from bench import DEVICE
from hawkbit_server import Status, Window


def refusals(bench):
    """The number of offers that were read but not acted on."""
    return bench.wait_for_exchanges("deploymentBase", 2)


def test_deployment_waits_outside_its_maintenance_window(bench):
    action = bench.server.assign(DEVICE, [bench.script("one", "echo fine")], window=Window())
    daemon = bench.start()

    offers = refusals(bench)
    before = len(bench.exchanges("artifact", "feedback"))
    bench.server.open_window(action)
    bench.wait_for_end(action)

    daemon.wait_for_line("ERROR .*event=exception_caught action=fsm_agent_event what=")
    assert {offer.response_json()["deployment"]["update"] for offer in offers} == {"skip"}
    assert before == 0
    assert action.status is Status.FINISHED


def test_download_only_deployment_is_not_installed_and_can_be_cancelled(bench):
    action = bench.assign(bench.script("one", "touch /tmp/ran"), type="downloadonly")
    bench.start()

    refusals(bench)
    bench.server.cancel(action)
    bench.wait_for_end(action)

    assert action.status is Status.CANCELED
    assert bench.exchanges("artifact", "feedback") == []
    assert bench.reports("cancelFeedback")[0][3] == ["Deployment not running. Nothing to do."]
    assert bench.gateway.leftovers() == []


def test_soft_deployment_whose_time_has_come_is_forced(bench):
    bench.configure("service.automatic_update", "0")
    action = bench.server.assign(DEVICE, [bench.script("one", "echo fine")], "timeforced",
                                 force_time=bench.server.store.clock() + 15)
    bench.start()

    first = bench.wait_for_exchanges("deploymentBase", 1)[0]
    bench.wait_for_end(action)

    assert first.response_json()["deployment"]["update"] == "attempt"
    assert action.status is Status.FINISHED
