# SPDX-License-Identifier: Apache-2.0
"""Tells what happens in plain sentences; each follows an observation."""
from hawkbit_server import Event

from .life import Reboot
from .log_story import LogStory

STARTED = "Installation started"
DEPLOYED = "Chunk deployed"


class Story:
    """Takes happenings in order; log records go to `log`."""

    def __init__(self, screen, rollout, verbose):
        self._screen = screen
        self._rollout = rollout
        self._deployed = 0
        self._attributes = {}
        self._downloading = None
        self.log = LogStory(screen, verbose)
        self.has_ended = False
        self.refusals = []

    @property
    def has_attributes(self):
        return bool(self._attributes)

    def take(self, happening):
        if isinstance(happening, Reboot):
            self._on_reboot(happening)
        elif isinstance(happening, Event):
            tell = getattr(self, "_on_" + happening.name.replace(" ", "_"), None)
            if tell:
                tell(happening.data)
        else:
            self.log.take(happening)

    # ---- the gateway as a whole

    def _on_reboot(self, reboot):
        left = f"with {' and '.join(reboot.kept)}" if reboot.kept else "empty"
        self._screen.say("The firmware tool asks for a reboot. The gateway goes down, and the daemon "
                         f"with it (ended by signal {-reboot.ended}).")
        self._screen.say(f"The gateway comes back with the firmware {reboot.firmware} and its /tmp "
                         f"{left}. The daemon is started again, with {' '.join(reboot.options)}.")

    # ---- the server's view

    def _on_registered(self, _):
        self._screen.say("The gateway calls for the first time. The server registers it as a new "
                         "target and asks for its attributes.")

    def _on_attributes(self, data):
        sent = data["attributes"]
        told = ", ".join(f"{key} = {value or '(empty)'}" for key, value in sent.items()
                         if self._attributes.get(key) != value)
        self._screen.say(f"The attributes arrive again, changed: {told or 'none'}."
                         if self._attributes else f"Its attributes arrive: {told}.")
        self._attributes = dict(sent)

    def _on_assigned(self, data):
        self._screen.say(f"The operator assigns a {data['type']} rollout of "
                         f"{len(self._rollout.chunks)} chunks:")
        self._screen.quote("\n".join(chunk.text for chunk in self._rollout.chunks), "-")

    def _on_offered(self, data):
        self._screen.say("The gateway fetches the deployment from the server "
                         f"(download: {data['download']}, update: {data['update']}).")

    def _on_downloading(self, data):
        if self._downloading != data["filename"]:
            self._downloading = data["filename"]
            self._screen.say("The gateway downloads a file:")
        self._screen.progress(data["filename"], data["sent"], data["total"])

    def _on_feedback(self, data):
        title, *details = data["details"] or [""]
        if data["execution"] == "closed":
            self.has_ended = not data["active"]
            self._screen.say(f"The gateway reports the end, {data['finished']}: {title}.")
            for detail in details:
                self._screen.quote(detail)
        elif title == STARTED and details:
            self.log.part = details[0].partition(":")[0]
            self._screen.say(f"The gateway reports: installation of {details[0]} started.")
        elif title == DEPLOYED and details:
            self._deployed += 1
            output = "\n".join(details[1:])
            self._screen.say(f"The gateway reports: {details[0]} is deployed, {self._deployed} of "
                             f"{len(self._rollout.chunks)} chunks{'. It printed:' if output else '.'}")
            self._screen.quote(output)
        else:
            self._screen.say(f"The gateway reports: {data['execution']}, "
                             f"{'; '.join(data['details'])}.")

    def _on_refused(self, data):
        self.refusals.append(f"{data['kind']}: {data['status']} {data['reason']}")
        self._screen.say(f"The server refuses a request ({self.refusals[-1]}).")
