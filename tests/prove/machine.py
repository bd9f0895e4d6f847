# SPDX-License-Identifier: Apache-2.0
"""The model from which random histories are drawn: who may do what, and when."""
import hypothesis.strategies as some
from hypothesis import HealthCheck, settings
from hypothesis.stateful import RuleBasedStateMachine, initialize, precondition, rule

from adapters import EVENTS, MACS
from modules import PARTS
from play import DORMANT, FAULTS, MOMENTS, SHIFTS
from verdict import Verdict

KINDS = ("base", "deploymentBase", "feedback", "artifact", "cancelAction", "cancelFeedback", "configData", "any")
# A few seconds lie between the steps of a deployment, minutes between polls, hours before a window.
PAUSES = (1, 2, 4, 8, 15, 40, 120, 400, 1200, 4000)
STEPS = 14
NUMBER = some.integers(0, len(MACS) - 1)
KIND = some.sampled_from(("forced", "soft"))
PARTS_OF_A_RELEASE = some.lists(some.sampled_from(PARTS), min_size=1, max_size=3, unique=True)


def machine_for(make_play, note):
    """A class of machines. note(steps) is called with the steps of a history that has broken a rule."""

    class Machine(RuleBasedStateMachine):
        def __init__(self):
            super().__init__()
            self.play = make_play()
            self.steps = []
            self.failed = False

        def _do(self, step, **arguments):
            self.steps.append([step, arguments])
            self._watch(lambda: getattr(self.play, step)(**arguments))

        def _watch(self, work):
            try:
                work()
            except Exception:
                self.failed = True
                raise

        @initialize(options=some.sampled_from(("shipped", "none")), automatic=some.sampled_from((True, False)),
                    window=some.sampled_from((False, True)), adapters=some.sampled_from((False, True)),
                    dormant=some.sampled_from(DORMANT), kind=KIND, parts=PARTS_OF_A_RELEASE)
        def begin(self, kind, parts, **gateway):
            self._do("begin", **gateway)
            self._do("assign", kind=kind, parts=parts)

        @rule(seconds=some.sampled_from(PAUSES))
        def let_pass(self, seconds):
            self._do("let_pass", seconds=seconds)

        @rule(kind=KIND, parts=PARTS_OF_A_RELEASE, pause=some.sampled_from(PAUSES))
        def assign(self, kind, parts, pause):
            self._do("assign", kind=kind, parts=parts)
            self._do("let_pass", seconds=pause)

        # What is drawn does not depend on the real gateway: a step that is too late does nothing.
        @rule(step=some.sampled_from(("cancel", "withdraw", "replace_artifact", "force")),
              pause=some.sampled_from(PAUSES))
        def change_mind(self, step, pause):
            self._do(step)
            self._do("let_pass", seconds=pause)

        @rule(kind=some.sampled_from(KINDS), fault=some.sampled_from(sorted(FAULTS)), first=some.integers(1, 3),
              times=some.integers(1, 3))
        def trouble(self, kind, fault, first, times):
            self._do("trouble", kind=kind, fault=fault, first=first, times=times)

        @rule(kind=some.sampled_from(KINDS), seconds=some.sampled_from((20, 90, 400)))
        def silence(self, kind, seconds):
            self._do("silence", kind=kind, seconds=seconds)

        @rule(step=some.sampled_from(("outage", "link_back", "restart_server")))
        def link(self, step):
            self._do(step)

        @rule(step=some.sampled_from(("power_cut", "kill", "stop")))
        def interrupt(self, step):
            self._do(step)

        @rule(step=some.sampled_from(("accept", "force_poll")), pause=some.sampled_from(PAUSES))
        def use(self, step, pause):
            self._do(step)
            self._do("let_pass", seconds=pause)

        @precondition(lambda self: self.play.adapters)
        @rule(number=NUMBER, kind=KIND, pause=some.sampled_from(PAUSES))
        def assign_adapter(self, number, kind, pause):
            self._do("assign_adapter", number=number, kind=kind)
            self._do("let_pass", seconds=pause)

        @precondition(lambda self: self.play.adapters)
        @rule(number=NUMBER, event=some.sampled_from(EVENTS), pause=some.sampled_from(PAUSES))
        def adapter(self, number, event, pause):
            self._do("adapter", number=number, event=event)
            self._do("let_pass", seconds=pause)

        @rule(seconds=some.sampled_from(SHIFTS))
        def shift_clock(self, seconds):
            self._do("shift_clock", seconds=seconds)

        @rule(wall=some.sampled_from((None, *MOMENTS)), pause=some.sampled_from(PAUSES))
        def set_clock(self, wall, pause):
            self._do("set_clock", wall=wall)
            self._do("let_pass", seconds=pause)

        @precondition(lambda self: self.play.options == "shipped")
        @rule(hours=some.sampled_from((1, 3)))
        def postpone(self, hours):
            self._do("postpone", hours=hours)

        def teardown(self):
            try:
                if not self.failed and self.play.options is not None:
                    self._watch(self._judge)
            finally:
                self.play.close()
                if self.failed:
                    note(self.steps)

        def _judge(self):
            Verdict(self.play).judge()

    return Machine


def how_many(count):
    """Settings for so many histories. Nothing is remembered: a seed draws the same ones each time."""
    return settings(max_examples=count, stateful_step_count=STEPS, deadline=None, database=None,
                    suppress_health_check=list(HealthCheck), print_blob=False, report_multiple_bugs=False)
