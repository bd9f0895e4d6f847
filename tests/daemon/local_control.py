# SPDX-License-Identifier: Apache-2.0
"""Calls of local software to the daemon over the message bus."""
import datetime
import json
import re

SUCCESS, FAILURE = {"success": True}, {"success": False}
NOTHING_PENDING = "no pending deployment"
BEFORE_THE_FIRST_POLL = "1970-01-01T00:00:00Z"
# So rare that a test sees only the polls that it forces.
RARE = "00:10:00"


class LocalControl:
    """Local software on the gateway of a bench."""

    def __init__(self, bench):
        self._bench = bench
        self.bus = bench.gateway.bus

    def wait_until_served(self):
        """Waits until the daemon has registered its object; calls fail before."""
        self._bench.wait_until(lambda: "zephran" in self.bus.objects(), "the object zephran")

    def force_poll(self, arguments=None):
        return self.bus.call("force_poll", arguments)

    def get_deployment(self):
        return self.bus.call("get_deployment")

    def accept_deployment(self):
        return self.bus.call("accept_deployment")

    def get_agents(self):
        return self.bus.call("get_agents")

    def last_poll(self):
        """The time of the last poll, in seconds."""
        text = self.get_deployment()["last_poll"]
        assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", text), text
        return datetime.datetime.fromisoformat(text).timestamp()

    def wait_for_pending(self):
        """Waits for a pending deployment, and returns the reply of get_deployment."""
        return self._wait_for_reply(lambda reply: reply["success"], "a pending deployment")

    def wait_for_none_pending(self):
        """Waits until none is pending, and returns the reply of get_deployment."""
        return self._wait_for_reply(lambda reply: reply.get("message") == NOTHING_PENDING,
                                    "the end of the pending deployment")

    def _wait_for_reply(self, is_wanted, what):
        def wanted():
            reply = self.get_deployment()
            return is_wanted(reply) and reply
        return self._bench.wait_until(wanted, what)


class CallLoop:
    """A program on the gateway that calls methods repeatedly until it is stopped.

    Each reply is one line of its output. A failed call leaves a line "failed STATUS METHOD".
    """

    def __init__(self, bench, name, script):
        self._mark = bench.gateway.tmp / f"state-stop-{name}"
        body = (f"call() {{ ubus -S -t 60 call zephran \"$@\" || echo \"failed $? $1\"; }}\n"
                f"while [ ! -e /tmp/{self._mark.name} ]; do\n{script}\ndone\n"
                "exit 0\n")
        self.program = bench.gateway.start_program(["/bin/sh", "-c", body], f"calls-{name}")

    def stop(self):
        """Stops it after the current round, and returns the lines of its output."""
        self._mark.touch()
        assert self.program.wait() == 0, self.program.log
        return self.program.out.splitlines()

    def replies(self):
        """Does the same, and returns the parsed replies."""
        return [json.loads(line) for line in self.stop()]
