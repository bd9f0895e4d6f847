# SPDX-License-Identifier: Apache-2.0
"""Local software that listens to the daemon's notifications."""
import json
import re
import signal

LINE = re.compile(r'{ "(\w+)": (.*) }')


class Subscriber:
    """Listens from its start on."""

    def __init__(self, bench, name):
        self._bench = bench
        # Ends by itself in case that a test does not end it.
        self._program = bench.gateway.start_program(["ubus", "-t", "300", "subscribe", "zephran"], f"subscriber-{name}")
        # A poll is answered by a change of state, which a subscriber hears once it is one.
        def hears():
            bench.gateway.bus.call("force_poll")
            return self.heard()
        bench.wait_until(hears, "the first notification")
        self.wait_for(lambda kind, content: kind == "state" and content["state"] == "idle")
        self._before = len(self.heard())

    def heard(self):
        """Type and content of each notification so far."""
        whole = self._program.out.rpartition("\n")[0].splitlines()
        return [(found[1], json.loads(found[2])) for found in map(LINE.fullmatch, whole)]

    def wait_for(self, is_wanted):
        self._bench.wait_until(lambda: any(is_wanted(*each) for each in self.heard()), "a notification")

    def signal(self, number):
        self._program.signal(number)

    def stop(self):
        """Ends it, and returns what it has heard since it was ready."""
        self._program.signal(signal.SIGTERM)
        self._program.wait()
        return self.heard()[self._before:]
