# SPDX-License-Identifier: Apache-2.0
"""Steps and records that several scenarios share."""
from driver import SERVER_TEXTS, Entry
from gateway import package
from held_script import HeldScript
from outcomes import was_closed_once
from update_window import FINISHED, WAITING_ON_USER, comes_to_rest_in, rests_in

NOTHING_TO_DO = "Deployment not running. Nothing to do."
SUCCESSFUL = Entry("finished", ("Deployment successful",))


def started(chunk):
    return Entry("running", ("Installation started", chunk))


def deployed(chunk, *output):
    return Entry("running", ("Chunk deployed", chunk, *output))


def reports(record):
    """The device's own entries, without the server's additions."""
    entries = (Entry(each.type, tuple(text for text in each.messages if not text.startswith(SERVER_TEXTS)))
               for each in record.entries)
    return [each for each in entries if each.messages]


def start_known(home, *arguments, **options):
    """Starts the daemon and waits until the server knows the gateway."""
    daemon = home.start(*arguments, **options)
    home.wait_until_registered()
    return daemon


def start_rarely_polling(home):
    """Starts a daemon that polls only when told to, so that nothing reaches it in between."""
    daemon = home.start("--dormant", "true")
    rest_until_polled(home, daemon)
    return daemon


def rest_until_polled(home, daemon):
    """Has a dormant daemon register with the server, and waits until it is idle."""
    home.poll_now()
    home.wait_until_registered()
    comes_to_rest_in(daemon, FINISHED)


def package_module(home, name="two"):
    """A module whose installer runs after that of scripts."""
    return home.module("opkg", name, "1.0", {f"{name}.ipk": package(name, "1.0", {f"{name}.txt": b"it\n"})})


def hold_back(home, name):
    """Assigns a script that, by the gateway's configuration, waits for the user; returns the action."""
    home.configure("service.automatic_update", "0")
    daemon = start_known(home)
    action = home.assign(home.script(name, "touch /tmp/ran"), type="soft")
    home.poll_now()
    rests_in(daemon, WAITING_ON_USER)
    return action


def hold_installation(home, *following, name="one"):
    """Assigns a held script, with other modules after it, and waits until it runs.

    Returns the script and the action.
    """
    held = HeldScript(home, name)
    action = home.assign(held.module, *following)
    home.poll_now()
    held.wait_until_it_runs()
    return held, action


def polls_again(home, times=3):
    """Follows the daemon through some more polls, in which it could do something wrong."""
    for _ in range(times):
        daemon = home.gateway.daemons[-1]
        start = len(daemon.output.lines)
        home.poll_now()
        daemon.wait_for_line("event=retrieve_controller_status", start=start)
        comes_to_rest_in(daemon, FINISHED)


def poll_until_closed(home, action):
    """Has a rarely polling daemon poll until the action is closed, and returns what the server recorded."""
    def closed():
        record = home.server.action(action)
        if record.active:
            polls_again(home, times=1)
        return None if record.active else record
    return home.wait_until(closed, f"the end of action {action}")


def takes_the_next(home):
    """Asserts that the gateway still works: it carries out a new deployment."""
    action = home.assign(home.script("next", "echo next"))
    home.poll_now()
    return home.wait_for_end(action).status == "finished"


def assert_closed_once(home, action, status):
    """Asserts that the action ends like this and that later polls leave it alone. Returns the server's record."""
    record = home.wait_for_end(action)
    polls_again(home)
    assert was_closed_once(home, action, status) == record
    return record
