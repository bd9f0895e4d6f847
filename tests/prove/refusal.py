# SPDX-License-Identifier: Apache-2.0
"""A server on whose port nobody listens when the gateway comes, until the gateway has noticed."""
import re
import threading
import time

# What the daemon writes of it, without options and with the shipped ones.
NOTICED = re.compile(r"HTTP request failed|event=http_error .* code=7 ")
STEP = 0.002


class Refusal:
    """Begins with the connection of a number, from 1. `hits` is 1 once a connection has been refused."""

    def __init__(self, bench, number, closed):
        self.hits = 0
        self._bench, self._closed = bench, closed
        bench.server.refuse_after(number - 1)
        threading.Thread(target=self._end, daemon=True).start()

    def _end(self):
        while not self._closed.is_set() and not self.hits:
            # Reading whole logs takes time, so it is left until there may be something in them.
            if not self._bench.server.is_listening() and self._is_noticed():
                self.hits = 1
                self._bench.server.listen_again()
            time.sleep(STEP)

    def _is_noticed(self):
        return any(NOTICED.search(daemon.log) for daemon in self._bench.gateway.daemons[-2:])
