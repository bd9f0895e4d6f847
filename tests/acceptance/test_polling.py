# SPDX-License-Identifier: Apache-2.0
"""The server sets the polling time of gateways."""
import datetime
import itertools

import pytest

from update_window import FINISHED, comes_to_rest_in

POLL_LINE = r"^(\d\d:\d\d:\d\d) INFO .*event=retrieve_controller_status"
# The log has whole seconds. A busy machine makes pauses longer, never shorter.
USUAL, SHORT, ROUNDING = 8, 3, 1


def pauses(daemon, count, start):
    """The seconds between the next polls."""
    times = []
    while len(times) <= count:
        match = daemon.wait_for_line(POLL_LINE, start=start)
        start = next(number for number, line in enumerate(daemon.output.lines)
                     if number >= start and line.text == match.string) + 1
        times.append(datetime.datetime.strptime(match.group(1), "%H:%M:%S"))
    return [(later - earlier).seconds for earlier, later in itertools.pairwise(times)]


@pytest.mark.alone
def test_new_polling_time_is_followed_from_the_next_poll_on(home):
    daemon = home.start()
    home.wait_until_registered()
    seen = len(daemon.output.lines)

    usual = pauses(daemon, 2, seen)
    seen = len(daemon.output.lines)
    # A server that is answering at that very moment may cache the old time.
    comes_to_rest_in(daemon, FINISHED)
    home.server.set_polling_time(f"00:00:{SHORT:02}")
    # The gateway learns of it only when it polls.
    _, *short = pauses(daemon, 4, seen)
    seen = len(daemon.output.lines)
    comes_to_rest_in(daemon, FINISHED)
    home.server.set_polling_time(f"00:00:{USUAL:02}")
    _, _, usual_again = pauses(daemon, 3, seen)

    # The second poll of a new target follows the first one immediately.
    assert usual[-1] >= USUAL - ROUNDING, usual
    assert SHORT - ROUNDING <= min(short) < USUAL - ROUNDING, short
    assert usual_again >= USUAL - ROUNDING, usual_again
