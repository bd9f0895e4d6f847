# SPDX-License-Identifier: Apache-2.0
"""A virtual clock that stands still unless the test lets time pass, also while daemons come and go."""
from virtual_clock import NANOSECONDS, STARTED_AT, VirtualClock

# How much faster than real time a clock may run while a program waits for another: usually, and while the other says
# nothing for good.
USUAL, HURRIED = 50, 2000
# Seconds; an end that has come is not missed for the sake of a rounding.
RESOLUTION = 0.001


class LimitedClock(VirtualClock):
    """Whoever starts a daemon calls run_freely(), which here goes no further than the time that was allowed."""

    allowed = 0

    def __init__(self, path, library, wall):
        super().__init__(path, library, wall, USUAL)
        self._right_at_first = wall

    def right(self):
        """What the wall clock would show if nobody had set it, in seconds since 1970."""
        return self._right_at_first + self.elapsed()

    def allow(self, seconds):
        """Lets so much time pass from what was allowed before; returns the time at which it has passed."""
        self.allowed += round(seconds * NANOSECONDS)
        self.run_freely()
        return self.allowed / NANOSECONDS - RESOLUTION

    def run_freely(self):
        self._page.limit = STARTED_AT * NANOSECONDS + self.allowed

    def hurry(self, is_hurried):
        """Whether what a program waits for will not come, so that it need not wait for long."""
        self._page.speed = HURRIED if is_hurried else USUAL
