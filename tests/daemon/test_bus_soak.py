# SPDX-License-Identifier: Apache-2.0
"""Many concurrent clients for some time, mainly for builds with a thread sanitizer."""
import os
import time

from bench import DEVICE
from hawkbit_server import Status
from local_control import FAILURE, NOTHING_PENDING, SUCCESS, CallLoop, LocalControl

SECONDS = float(os.environ.get("ZEPHRAN_SOAK_SECONDS", "5"))

# Forcing a poll every second would keep an agent from starting anything, so polls are forced in
# bursts of a second.
EACH_ROUND = """
call get_agents
call get_deployment
call accept_deployment
call force_poll '{"agent_id":"unknown"}'
call force_poll '{"agent_id":["gw-1"]}'
case $(date +%s) in
    *0) call force_poll ;;
    *5) call force_poll '{"agent_id":"gw-1"}' ;;
esac
"""


def is_valid(reply):
    if "agents" in reply:
        return reply == {"agents": [{"id": DEVICE,
                                     "config": {"dormant": "0", "installed_flash_type": ""}}]}
    if "action_id" in reply:
        return (reply["success"] and reply["action_id"].isdigit() and bool(reply["last_poll"]) and
                all(chunk["type"] == "script" and chunk["version"] in ("1.0", "2.0")
                    for chunk in reply["chunks"]))
    if "last_poll" in reply:
        return reply["message"] == NOTHING_PENDING and not reply["success"]
    return reply in (SUCCESS, FAILURE, {**FAILURE, "message": NOTHING_PENDING})


def test_every_call_is_answered_while_deployments_come_and_go(make_bench):
    bench = make_bench(poll="00:01:00")
    bench.configure("service.automatic_update", "0")
    modules = [bench.script("one", "echo one"), bench.script("two", "echo two", "2.0")]
    daemon = bench.start(level="INFO")
    control = LocalControl(bench)
    control.wait_until_served()
    clients = [CallLoop(bench, str(number), EACH_ROUND) for number in range(4)]

    ended = []
    deadline = time.monotonic() + SECONDS
    while not ended or time.monotonic() < deadline:
        action = bench.assign(*modules, type="soft")
        bench.wait_for_end(action)
        ended.append(action.status)
    replies = [reply for client in clients for reply in client.replies()]
    status = daemon.terminate()

    assert set(ended) == {Status.FINISHED}
    assert len(replies) > 4 * 5
    assert [reply for reply in replies if not is_valid(reply)] == []
    assert any("action_id" in reply for reply in replies)
    assert status == 0
