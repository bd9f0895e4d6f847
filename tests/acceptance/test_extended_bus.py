# SPDX-License-Identifier: Apache-2.0
"""What the server sees of a user who looks, postpones and accepts on an extended bus."""
import pytest

from flow import SUCCESSFUL, assert_closed_once, deployed, reports, start_known, started
from local_control import SUCCESS

ANOTHER_ONE = {"success": False, "message": "another deployment is pending"}


@pytest.fixture(name="call")
def fixture_call(home):
    """Calls a method on a gateway whose updates wait for the user."""
    home.configure("service.bus_extended", "1")
    home.configure("service.automatic_update", "0")
    start_known(home)
    return home.gateway.bus.call


def wait_for_state(home, call, state):
    def there():
        found = call("get_status")
        return found["state"] == state and found
    return home.wait_until(there, f"the state {state}")


def answers(home, call, reply, *request):
    """Asks until the gateway answers so: nothing is pending while it polls."""
    home.wait_until(lambda: call(*request) == reply, f"the reply {reply}")


def postpone(home, call, hours):
    """Has the deployment wait for nothing but the time."""
    answers(home, call, SUCCESS, "postpone_deployment", {"hours": hours})
    home.wait_until(lambda: home.option("postponed_deployment"), "the recorded wish")
    home.configure("service.automatic_update", "1")
    assert "delay_until" in wait_for_state(home, call, "waiting_delay")


def offer(home, name):
    action = home.assign(home.script(name, f"echo {name}"), type="soft")
    home.poll_now()
    return action


def test_user_decides_about_the_action_of_the_server(home, call):
    action = offer(home, "one")

    shown = wait_for_state(home, call, "waiting_user")
    assert (shown["action_id"], shown["chunks"]) == (str(action), 1)
    answers(home, call, ANOTHER_ONE, "accept_deployment", {"action_id": f"{action}0"})
    postpone(home, call, 1)
    assert reports(home.server.action(action)) == []
    answers(home, call, SUCCESS, "accept_deployment", {"action_id": str(action)})
    record = assert_closed_once(home, action, "finished")

    chunk = f"script:{home.label}-one:1.0"
    assert reports(record) == [started(chunk), deployed(chunk, "one"), SUCCESSFUL]
    result = wait_for_state(home, call, "idle")["last_result"]
    assert (result["action_id"], result["result"]) == (str(action), "success")


def test_forced_action_is_not_postponed(home, call):
    action = offer(home, "one")
    wait_for_state(home, call, "waiting_user")
    postpone(home, call, 168)

    home.server.force(action)
    home.poll_now()

    assert_closed_once(home, action, "finished")
