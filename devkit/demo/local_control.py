# SPDX-License-Identifier: Apache-2.0
"""The person at the gateway, who uses the message bus through the command `ubus`."""
import json
import time

from .failure import DemoFailure

OBJECT = "zephran"
CALL_TIMEOUT = 60
# Seconds in which a user has to decide.
PATIENCE = 240
# During a poll no deployment is pending, until the poll has fetched it again.
ATTEMPTS = 3


class LocalControl:
    """Makes calls as a person would type them, and keeps the replies for the verdict.

    agents       reply to get_agents
    pending      the last reply to get_deployment
    accepted     the last reply to accept_deployment
    accepted_at  when that call began, by the server's clock
    """

    patience = PATIENCE

    def __init__(self, gateway, screen):
        self._gateway = gateway
        self._screen = screen
        self.agents = self.pending = self.accepted = self.accepted_at = None

    def close(self):
        """Ends what the person works with."""

    def say_goodbye(self):
        """Called when everything has been seen."""

    def list_agents(self):
        self._screen.say("Local software asks the daemon for its agents, over the message bus:")
        self.agents = self._call("get_agents")

    def decide(self, log, watch):
        """Looks at the pending deployment, lets it wait, and accepts it.

        log    what the daemon's log has said so far
        watch  called with a condition and its name; tells the story until the condition holds
        """
        for _ in range(ATTEMPTS):
            self._watch_it_wait(log, watch, lambda: log.waits_for_user,
                                "the wait for the user's decision")
            self._screen.say("The user looks at what the gateway holds back:")
            self.pending = self._call("get_deployment")
            if self.pending.get("success") and self._accept(log, watch):
                return
            log.waits_for_user = False
        raise DemoFailure(f"no deployment could be accepted in {ATTEMPTS} attempts")

    def _accept(self, log, watch):
        before = log.fruitless_looks
        self._watch_it_wait(log, watch, lambda: log.fruitless_looks > before,
                            "a longer wait for the user's decision")
        self._screen.say("The gateway has checked again whether the user has accepted it, and waits. "
                         "Now the user accepts it:")
        self.accepted_at = time.time()
        self.accepted = self._call("accept_deployment")
        return self.accepted.get("success")

    @staticmethod
    def _watch_it_wait(log, watch, is_reached, what):
        watch(lambda: is_reached() or log.has_started, what)
        if log.has_started:
            raise DemoFailure("the deployment started before the user had accepted it")

    def _call(self, method):
        """Shows the command and what it prints, and returns the reply."""
        words = ["ubus", "call", OBJECT, method]
        command = " ".join(words)
        self._screen.quote(command, "#")
        program = self._gateway.start_program(words, "ubus")
        if program.wait(CALL_TIMEOUT) != 0:
            raise DemoFailure(f"{command} ended with status {program.exit_status}: "
                              f"{program.err.strip() or 'it said nothing'}")
        self._screen.verbatim(program.out)
        try:
            reply = json.loads(program.out)
        except ValueError as failure:
            raise DemoFailure(f"{command} printed no JSON: {program.out!r}") from failure
        if not isinstance(reply, dict):
            raise DemoFailure(f"{command} printed no JSON object: {program.out!r}")
        return reply
