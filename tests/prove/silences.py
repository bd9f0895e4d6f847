# SPDX-License-Identifier: Apache-2.0
"""A server that says nothing for some time of the gateway, then is gone."""
import dataclasses

from hawkbit_server import Stall
from hawkbit_server.orders import Order


@dataclasses.dataclass
class _Silence:
    order: Order
    seconds: float
    begun: float | None = None


class Silences:
    """Those of one server, on its gateway's clock."""

    def __init__(self, server, clock):
        self._server, self._clock = server, clock
        self._silences = []

    def order(self, kind, seconds):
        """Has the next request of a kind meet a silence."""
        self._silences.append(_Silence(self._server.order(kind, Stall()), seconds))

    def has_begun(self):
        """Whether a request meets one now."""
        return any(each.order.fault.reached.is_set() for each in self._silences)

    def watch(self):
        """To be called again and again while time passes: ends those that have lasted."""
        now = self._clock.elapsed()
        for silence in [each for each in self._silences if each.order.fault.reached.is_set()]:
            if silence.begun is None:
                silence.begun = now
            elif now >= silence.begun + silence.seconds:
                silence.order.fault.drop()
                self._silences.remove(silence)
        # Whoever waits for an answer gets none, so nothing real is waited for.
        self._clock.hurry(self.has_begun())

    def end(self):
        """Ends all of them, also those that nobody has met yet."""
        for silence in self._silences:
            silence.order.withdraw()
            silence.order.fault.drop()
        self._silences.clear()
