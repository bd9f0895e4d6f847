# SPDX-License-Identifier: Apache-2.0
"""Tells what happens on the powerline network; each sentence follows an observation."""
from hawkbit_server import Event

from .ghn_scene import GATEWAY

TOLD_ATTRIBUTES = ("device_name", "firmware_version", "parent")


class GhnStory:
    """Takes happenings in order, and keeps what the demonstration waits for and the verdict needs.

    passes    how many discovery passes have ended
    found     addresses of the adapters that discovery has found
    lost      addresses of the adapters that it has lost
    targets   ids of the targets whose attributes the server has received
    closed    ids of the targets that have reported the end of a deployment
    errors    lines of the log at level ERROR
    refusals  what the server refused
    """

    def __init__(self, screen, verbose):
        self._screen = screen
        self._verbose = verbose
        self._downloaded = False
        self.passes = 0
        self.found, self.lost, self.targets, self.closed = [], [], [], []
        self.errors, self.refusals = [], []

    def take(self, happening):
        if isinstance(happening, Event):
            tell = getattr(self, "_on_" + happening.name.replace(" ", "_"), None)
            if tell:
                tell(happening)
        else:
            self._on_record(happening)

    # ---- the daemon's log

    def _on_record(self, record):
        if self._verbose:
            self._screen.quote(record.text, "|")
        if record.level == "ERROR":
            self.errors.append(record.text)
        action, event = record.fields.get("action", ""), record.event
        if action == "discover_once":
            self._screen.say("A discovery pass begins: the gateway asks its own modem who is there.")
        elif action == "pending discover" and record.fields.get("status") == "0":
            self.passes += 1
            self._screen.say("The discovery pass has ended.")
        elif event == "ghn_device_found":
            self.found.append(record.fields["mac"])
            self._screen.say(f"Discovery has found the adapter {self.found[-1]}.")
        elif event == "ghn_lost":
            self.lost.append(record.fields["mac"])
            self._screen.say(f"Discovery has lost the adapter {self.lost[-1]}.")
        elif event == "executing":
            self._screen.say("The gateway runs a tool:")
            self._screen.quote(record.fields["command"], "#")
        elif event == "installation_finished":
            self._screen.say("The adapter has come back from its reset with the firmware "
                             f"{record.fields['new_version']}.")

    # ---- the server's view

    def _on_registered(self, event):
        who = "The gateway" if event.target == GATEWAY else "An adapter"
        self._screen.say(f"{who} is a new target of the server: {event.target}.")

    def _on_attributes(self, event):
        sent = event.data["attributes"]
        self.targets.append(event.target)
        told = ", ".join(f"{key} = {sent[key]}" for key in TOLD_ATTRIBUTES if key in sent)
        if told:
            self._screen.say(f"The attributes of {event.target} arrive, among them {told}.")

    def _on_assigned(self, event):
        self._screen.say(f"The operator assigns new firmware to {event.target}.")

    def _on_downloading(self, event):
        self._screen.progress(event.data["filename"], event.data["sent"], event.data["total"])

    def _on_feedback(self, event):
        self._screen.say(f"{event.target} reports ({event.data['execution']}):")
        self._screen.quote("\n".join(event.data["details"]))
        if event.data["execution"] == "closed":
            self.closed.append(event.target)

    def _on_refused(self, event):
        self.refusals.append(f"{event.data['kind']}: {event.data['status']} {event.data['reason']}")
        self._screen.say(f"The server refuses a request ({self.refusals[-1]}).")
