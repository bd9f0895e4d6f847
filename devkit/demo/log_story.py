# SPDX-License-Identifier: Apache-2.0
"""Tells what the daemon's log says, in plain sentences."""

# The guards that the agent checks before it starts a deployment, and what their results mean.
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
INSTALLERS = {
    "os": "It has the firmware tool install the image:",
    "script": "It runs the script.",
    "zw": "It has the Z-Wave radio programmed:",
    "bl": "It sees to the boot loader's partition:",
    "plc": "It stops the powerline service, puts the firmware where the chip takes it over, and starts "
           "the service again:",
    "opkg": "It has the package manager install the package:",
}
MESSAGES = {
    "forcing poll after installer reboot":
        "The daemon is dormant, but an installer has rebooted the gateway: it polls once, at once.",
    "resuming deployment":
        "From the server's history the daemon knows what was being installed, and goes on there.",
}


class LogStory:
    """Takes log records in order. What it remembers serves only its own sentences.

    part             type of the chunk that is being installed; to be set from outside
    waits_for_user   whether the deployment waits for the user's decision
    fruitless_looks  how often the daemon has looked for this decision in vain
    has_started      whether the deployment has started
    dormant          what the agent has answered since this was emptied, as often as the answer has changed
    errors           what the daemon has logged as errors
    """

    def __init__(self, screen, verbose):
        self._screen = screen
        self._verbose = verbose
        self._rules = []
        self.part = ""
        self.waits_for_user = False
        self.fruitless_looks = 0
        self.has_started = False
        self.dormant = []
        self.errors = []

    def take(self, record):
        # Lines without a level are libcurl's, which writes dozens of them for every transfer.
        if self._verbose and record.level:
            self._screen.quote(record.text, "|")
        fields = record.fields
        if record.level == "ERROR":
            self._on_error(record)
        rule = RULES.get((record.event, fields.get("status")))
        if rule and rule not in self._rules:
            self._rules.append(rule)
        tell = getattr(self, "_on_" + record.event, None) if record.event else None
        if tell:
            tell(fields)
        if fields.get("message") in MESSAGES:
            self._screen.say(MESSAGES[fields["message"]])
        if "command" in fields and "start_installation" in record.text:
            # It is the last field on its line; what looks like further fields belongs to it.
            self._screen.quote(record.text.partition(" command=")[2], "$")

    def _on_error(self, record):
        what = record.fields.get("what") or record.fields.get("message") or record.text
        self.errors.append(what)
        self._screen.say(f"The daemon logs an error: {what}.")

    def _on_retrieve_controller_status(self, _):
        # A poll fetches a pending deployment again.
        self.waits_for_user = False

    def _on_is_dormant(self, fields):
        if self.dormant[-1:] != [fields.get("status")]:
            self.dormant.append(fields.get("status"))

    def _on_retrieve_deployment_action(self, _):
        self._rules = []

    def _on_is_automatic_update_disabled(self, fields):
        if "status" not in fields:
            return
        self._tell_rules()
        self.waits_for_user = fields["status"] == "1"

    def _on_is_resumed_deployment(self, fields):
        if fields.get("status") == "1":
            self._tell_rules()

    def _tell_rules(self):
        self._screen.say(f"Whether to start it now: {', '.join(self._rules)}.")

    def _on_is_user_forced(self, fields):
        if fields.get("status") == "1":
            self._screen.say("The gateway sees that the user has accepted it.")
        elif self.waits_for_user:
            self.fruitless_looks += 1

    def _on_start_deployment_action(self, _):
        self._screen.say("The waiting is over, the deployment starts." if not self.has_started else
                         "The deployment goes on.")
        self.has_started = True

    def _on_select_next_artifact(self, _):
        self._screen.say("Its MD5 sum is the one that the server has stated.")

    def _on_start_installation(self, _):
        self._screen.say(INSTALLERS.get(self.part, "It installs the chunk."))

    def _on_copy_file(self, fields):
        self._screen.quote(f"{fields['from']} -> {fields['to']}")
