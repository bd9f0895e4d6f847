# SPDX-License-Identifier: Apache-2.0
"""The weekly window, and the states in which an agent is idle."""
import datetime

DAYS = ["Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"]
BACKOFF, WAITING_ON_SCHEDULE, WAITING_DELAY, WAITING_ON_USER, FINISHED = 2, 8, 9, 10, 12


def set_schedule(bench, days, start="00:00", stop="24:00"):
    for name, value in {"enabled": "1", "daysofweek": days, "starttime": start,
                        "stoptime": stop}.items():
        bench.configure(f"schedule.{name}", value)


def day_after(days):
    """A weekday that is neither today nor near, in the gateway's time zone."""
    now = datetime.datetime.now(datetime.UTC)
    return DAYS[(now + datetime.timedelta(days=days)).weekday()]


def rests_in(daemon, state):
    daemon.wait_for_line(rf"event=tick .*from_state={state} to_state={state}$")


def comes_to_rest_in(daemon, state):
    """Waits for the same from now on; earlier log lines do not count."""
    daemon.wait_for_line(rf"event=tick .*from_state={state} to_state={state}$",
                         start=len(daemon.output.lines))


def goes_on_resting(daemon, state, ticks=4):
    """Asserts that the daemon stays in this state for some steps from now on."""
    start = len(daemon.output.lines)
    for _ in range(ticks):
        daemon.wait_for_line("event=tick ", start=len(daemon.output.lines))
    steps = [line.text for line in daemon.output.lines[start:] if "event=tick " in line.text]
    assert all(step.endswith(f"from_state={state} to_state={state}") for step in steps), steps
