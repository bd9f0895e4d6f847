"""Tells what happened in plain sentences, each of them caused by something that was seen."""
from hawkbit_server import Event

# What the agent asks itself before it starts a deployment, and what the answers mean.
RULES = {
    ("is_forced_deployment", "0"): "the operator has not forced it",
    ("is_forced_deployment", "1"): "the operator has forced it",
    ("is_user_forced", "0"): "the user has not accepted it",
    ("is_user_forced", "1"): "the user has accepted it",
    ("is_resumed_deployment", "0"): "it is not the rest of an interrupted one",
    ("is_resumed_deployment", "1"): "it is the rest of an interrupted one",
    ("is_automatic_update_disabled", "0"): "automatic updates are on",
    ("is_automatic_update_disabled", "1"): "automatic updates are off, so the user decides",
}
STARTED = "Installation started"
DEPLOYED = "Chunk deployed"


class Story:
    """Takes happenings in their order. What it remembers is for its own sentences only."""

    def __init__(self, screen, rollout, verbose):
        self._screen = screen
        self._rollout = rollout
        self._verbose = verbose
        self._rules = []
        self._downloading = None
        self._deployed = 0
        # of the daemon's looks at its user's decision, those that found none
        self.fruitless_looks = 0
        self.waits_for_user = False
        self.has_attributes = False
        self.has_started = self.has_ended = False
        self.logged_errors = []
        self.refusals = []

    def take(self, happening):
        if isinstance(happening, Event):
            tell = getattr(self, "_on_" + happening.name.replace(" ", "_"), None)
            if tell:
                tell(happening.data)
            return
        # Lines without a level are libcurl's, which accompanies every transfer with dozens of them.
        if self._verbose and happening.level:
            self._screen.quote(happening.text, "|")
        if happening.level == "ERROR":
            self._on_logged_error(happening)
        self._on_record(happening)

    # ---- the server's view

    def _on_registered(self, _):
        self._screen.say("The gateway calls for the first time. The server registers it as a new "
                         "target and asks for its attributes.")

    def _on_attributes(self, data):
        if not self.has_attributes:
            self._screen.say("Its attributes arrive: " + ", ".join(
                f"{key} = {value or '(empty)'}" for key, value in data["attributes"].items()) + ".")
        self.has_attributes = True

    def _on_assigned(self, data):
        chunks = " and ".join(chunk.text for chunk in self._rollout.chunks)
        self._screen.say(f"The operator assigns a {data['type']} rollout of "
                         f"{len(self._rollout.chunks)} chunks: {chunks}.")

    def _on_offered(self, data):
        self._rules = []
        self._screen.say("The gateway fetches the deployment from the server "
                         f"(download: {data['download']}, update: {data['update']}).")

    def _on_downloading(self, data):
        self._downloading = data["filename"]
        self._screen.progress(data["filename"], data["sent"], data["total"])

    def _on_feedback(self, data):
        title, *details = data["details"] or [""]
        if data["execution"] == "closed":
            self.has_ended = not data["active"]
            self._screen.say(f"The gateway reports the end, {data['finished']}: {title}.")
            for detail in details:
                self._screen.quote(detail)
        elif title == STARTED and details:
            self._screen.say(f"The gateway reports: installation of {details[0]} started.")
        elif title == DEPLOYED and details:
            self._deployed += 1
            self._screen.say(f"The gateway reports: {details[0]} is deployed, {self._deployed} of "
                             f"{len(self._rollout.chunks)} chunks. Its script printed:")
            self._screen.quote("\n".join(details[1:]) or "(nothing)")
        else:
            self._screen.say(f"The gateway reports: {data['execution']}, "
                             f"{'; '.join(data['details'])}.")

    def _on_refused(self, data):
        self.refusals.append(f"{data['kind']}: {data['status']} {data['reason']}")
        self._screen.say(f"The server refuses a request ({self.refusals[-1]}).")

    # ---- the daemon's log

    def _on_logged_error(self, record):
        what = record.fields.get("what") or record.fields.get("message") or record.text
        self.logged_errors.append(what)
        self._screen.say(f"The daemon logs an error: {what}.")

    def _on_record(self, record):
        fields = record.fields
        rule = RULES.get((record.event, fields.get("status")))
        if rule and rule not in self._rules:
            self._rules.append(rule)
        tell = getattr(self, "_on_log_" + record.event, None)
        if tell:
            tell(fields)

    def _on_log_retrieve_controller_status(self, _):
        # Whatever was held back is fetched anew after a poll.
        self.waits_for_user = False

    def _on_log_is_automatic_update_disabled(self, fields):
        if "status" not in fields:
            return
        self._screen.say(f"Whether to start it now: {', '.join(self._rules)}.")
        self.waits_for_user = fields["status"] == "1"

    def _on_log_is_user_forced(self, fields):
        if fields.get("status") == "1":
            self._screen.say("The gateway sees that the user has accepted it.")
        elif self.waits_for_user:
            self.fruitless_looks += 1

    def _on_log_start_deployment_action(self, _):
        self.has_started = True
        self._screen.say("The waiting is over, the deployment starts.")

    def _on_log_download_artifact(self, _):
        self._screen.say("The gateway downloads a file:")

    def _on_log_verify_artifact(self, _):
        self._screen.say(f"It computes the MD5 sum of {self._downloading}.")

    def _on_log_select_next_artifact(self, _):
        self._screen.say("The sum is the one that the server has stated.")

    def _on_log_start_installation(self, _):
        self._screen.say("It runs the script.")
