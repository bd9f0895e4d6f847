# SPDX-License-Identifier: Apache-2.0
"""What has to hold after a random history, once all is well."""
from hawkbit_server import Status
from history import Violation, demand

CLOSING = (Status.FINISHED, Status.ERROR, Status.CANCELED)
WITHDRAWAL = "Update Server: A force quit has been performed."
# Seconds of the gateway after which everything must have been caught up with, if it is told to poll.
PATIENCE = 6 * 3600
STEP = 600
# A history has at most so many exchanges in all and for each second, and so many bytes for each.
EXCHANGES, EXCHANGES_A_SECOND, BYTES = 400, 0.1, 5000


class Verdict:
    """Judges by the server's record and by what is on the gateway. Throws Violation."""

    def __init__(self, play):
        self._play = play
        self._bench = play.bench

    def judge(self):
        self._play.heal()
        for action in self._play.actions:
            if action.active:
                self._bench.server.force(action)
        self._wait_for(lambda: not any(action.active for action in self._play.actions), "end of what was open")
        for action in self._play.actions:
            self._judge_end(action)
        self._judge_the_next()
        self._judge_bounds()
        self._judge_processes()

    def _wait_for(self, condition, what):
        for _ in range(PATIENCE // STEP):
            if condition():
                return
            self._play.force_poll()
            for _ in range(STEP // 30):
                self._play.let_pass(30)
                if condition():
                    return
        raise Violation(f"no {what}")

    def _judge_end(self, action):
        closings = [entry for entry in action.entries if entry.type in CLOSING]
        # The server takes the answer to a cancellation that the gateway has learned of before it was withdrawn.
        answers = [entry for entry in closings if WITHDRAWAL not in entry.messages]
        demand(closings and len(answers) <= 1 + self._repeats(action, answers),
               f"action {action.id} was closed {len(answers)} times")
        demand(not action.spoilt, f"action {action.id} was read again after its end")
        missing = self._play.modules.missing(action)
        if closings[0].type is Status.FINISHED:
            lies = [name for name in missing if not self._is_known_limit(name)]
            demand(not lies, f"action {action.id} was reported as finished without {', '.join(lies)}")
        elif closings[0].type is Status.ERROR:
            demand(missing or self._play.has_excuse(action),
                   f"action {action.id} was reported as failed, but everything is there: {closings[0].messages}")

    def _repeats(self, action, answers):
        """How often a cancellation may have been confirmed again: the gateway has not seen what the server answered."""
        said = {(answer.type, answer.messages) for answer in answers}
        if len(said) != 1 or answers[0].type is not Status.CANCELED:
            return 0
        # The body is read only by a server that goes on with the request.
        return sum(each.kind == "cancelFeedback" and each.action == action.id and each.outcome != "answered"
                   and bool(each.body) for each in self._bench.server.exchanges())

    def _is_known_limit(self, name):
        """A script that was reported as started counts as done after an interruption, see docs/recovery.md."""
        is_limit = False
        if self._play.options == "none":
            is_limit = name.startswith(("script", "bad"))
        elif self._play.interruptions > 0:
            is_limit = name.startswith("bad") and self._play.modules.was_tried(name)
        if is_limit:
            self._play.limits.add("an interrupted script counts as done")
        return is_limit

    def _judge_the_next(self):
        self._play.assign("forced", ["script"])
        for number in range(len(self._play.adapters.targets) if self._play.adapters else 0):
            self._play.assign_adapter(number, "forced")
        following = [action for action in self._play.actions if action.active]
        self._wait_for(lambda: not any(action.active for action in following), "end of the next deployment")
        for action in following:
            demand(action.status is Status.FINISHED, f"the next deployment of {action.target.id} has failed")
            demand(not self._play.modules.missing(action), "the next deployment was not carried out")
        # The last files go after the report of the end.
        for _ in range(10):
            if not self._left_behind():
                return
            self._play.let_pass(2)
        others = set(self._left_behind()) - self._files_of_withdrawn_actions()
        demand(not others, f"left behind: {self._left_behind()}")
        self._play.limits.add("a killed daemon's download of a withdrawn action stays")

    def _files_of_withdrawn_actions(self):
        """They may stay in a temporary directory that is not the daemon's own, see docs/recovery.md."""
        if self._play.options != "none" or self._play.interruptions == 0:
            return set()
        return {artifact.filename for action in self._play.actions
                if any(WITHDRAWAL in entry.messages for entry in action.entries)
                for module in action.distribution_set.modules for artifact in module.artifacts}

    def _left_behind(self):
        folder = self._bench.gateway.tmp / "zephran"
        return [*self._bench.gateway.leftovers(ignore=("state", ".uci", folder.name)),
                *(str(file.relative_to(folder)) for file in folder.rglob("*") if not file.is_dir())]

    def _judge_bounds(self):
        seen = self._bench.server.exchanges()
        most = EXCHANGES + EXCHANGES_A_SECOND * self._play.clock.elapsed()
        demand(len(seen) <= most, f"{len(seen)} exchanges instead of at most {most:.0f}")
        sent = sum(each.sent for each in seen)
        demand(sent <= most * BYTES, f"{sent} bytes instead of at most {most * BYTES:.0f}")

    def _judge_processes(self):
        """No daemon may have been ended by a signal but those of the history."""
        *ended, last = self._bench.supervisor.daemons
        demand(last.is_running(), f"the daemon has ended with {last.exit_status}")
        crashed = [daemon.exit_status for daemon in ended
                   if daemon.exit_status is not None and daemon.exit_status not in (0, 1, -9, -15)]
        demand(not crashed, f"daemons have ended with {crashed}")
