"""How often gateways poll is for the server to say."""
import datetime

import pytest

POLL_LINE = r"^(\d\d:\d\d:\d\d) INFO .*event=retrieve_controller_status"
USUAL, SHORT = 8, 3
# The daemon steps once a second, and a busy machine adds some.
TOLERANCE = 4


def pauses(daemon, count, start):
    """The seconds between the next polls."""
    times = []
    while len(times) <= count:
        match = daemon.wait_for_line(POLL_LINE, start=start)
        start = next(number for number, line in enumerate(daemon.output.lines)
                     if number >= start and line.text == match.string) + 1
        times.append(datetime.datetime.strptime(match.group(1), "%H:%M:%S"))
    return [(later - earlier).seconds for earlier, later in zip(times, times[1:])]


def comes_after(pause, seconds):
    return seconds - 1 <= pause <= seconds + TOLERANCE


@pytest.mark.alone
def test_new_polling_time_is_followed_from_the_next_poll_on(home):
    daemon = home.start()
    home.wait_until_registered()
    seen = len(daemon.output.lines)

    usual = pauses(daemon, 2, seen)
    seen = len(daemon.output.lines)
    home.server.set_polling_time(f"00:00:{SHORT:02}")
    # nothing tells the gateway before it polls
    _, *short = pauses(daemon, 4, seen)
    seen = len(daemon.output.lines)
    home.server.set_polling_time(f"00:00:{USUAL:02}")
    _, _, usual_again = pauses(daemon, 3, seen)

    # the first two polls of a new target follow one another
    assert comes_after(usual[-1], USUAL), usual
    assert all(comes_after(pause, SHORT) for pause in short), short
    assert comes_after(usual_again, USUAL), usual_again
