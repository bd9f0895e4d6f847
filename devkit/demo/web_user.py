# SPDX-License-Identifier: Apache-2.0
"""The person at the gateway who uses the page of its web interface, in a browser."""
import os
import pathlib
import sys
import webbrowser

from web_front import User, WebFront
from web_page import ACCESS, APP, OWN_FILES, ThinRuntime, WholeRuntime, page

from .local_control import LocalControl

GROUP = "luci-app-zephran"
RESIDENT = User("let me", read=(GROUP,), write=(GROUP,))
# Nobody who was called away is to miss the click.
PATIENCE = 24 * 3600


def runtime():
    """The web interface itself where LUCI_DIR names a checkout of it."""
    checkout = os.environ.get("LUCI_DIR")
    return WholeRuntime(pathlib.Path(checkout)) if checkout else ThinRuntime()


class WebUser(LocalControl):
    """Serves the page, and lets whoever looks at it decide."""

    patience = PATIENCE

    def __init__(self, gateway, screen):
        super().__init__(gateway, screen)
        chosen = runtime()
        self._front = WebFront(gateway, ACCESS, {"resident": RESIDENT}, [OWN_FILES, *chosen.files], {})
        session = self._front.log_in("resident", RESIDENT.password)
        self._front.pages["/"] = page(chosen, chosen.start(session, True, {}, "status"))

    def close(self):
        self._front.close()

    def _accept(self, log, watch):
        self._screen.say("The rollout waits for a click on \"Install now\" in the page of the gateway's web "
                         f"interface: {self._front.address}/")
        if not self._open_browser():
            self._screen.say("No browser could be opened from here. Open this address in one on this machine; the "
                             f"page's files are in {APP}.")
        watch(lambda: self._accepted() or log.has_started, "the consent of the user")
        found = self._accepted()
        if found:
            self.accepted_at, self.accepted = found
        return bool(found)

    def _accepted(self):
        return next(((when, reply[1]) for method, when, reply in self._front.answers
                     if method == "accept_deployment" and reply[1:] == [{"success": True}]), None)

    def _open_browser(self):
        if not {"BROWSER", "DISPLAY", "WAYLAND_DISPLAY"} & set(os.environ):
            return False
        return webbrowser.open(self._front.address + "/")

    def say_goodbye(self):
        """Leaves the result on the page until it was seen."""
        if sys.stdin.isatty():
            self._screen.say("The page shows the result. Press Enter to end.")
            sys.stdin.readline()
