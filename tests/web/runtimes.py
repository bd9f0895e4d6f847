# SPDX-License-Identifier: Apache-2.0
"""What the page runs in."""
import json

from gateway_bench import PROJECT

RESOURCES = "/luci-static/resources/"


class ThinRuntime:
    """The test's own stand-in for the web interface."""

    files = (("/test/", PROJECT / "tests/web"),)
    head = '<script src="/test/loader.js"></script>'

    @staticmethod
    def start(session, may_write, texts, view):
        return (f"session = {json.dumps(session)}; mayWrite = {json.dumps(may_write)}; "
                f"catalogue = {json.dumps(texts)}; start('zephran.{view}');")


class WholeRuntime:
    """The web interface itself, with the colours and measures of its theme, from a checkout."""

    # The theme's own page chooses by script between its two sets of colours.
    head = "".join([
        *(f'<script src="{RESOURCES}{name}.js"></script>' for name in ("cbi", "promis.min", "luci")),
        *(f'<link rel="stylesheet" href="/luci-static/bootstrap/{name}.css">' for name in ("cascade", "mobile")),
        "<script>document.documentElement.dataset.darkmode = "
        "matchMedia('(prefers-color-scheme: dark)').matches;</script>"])

    def __init__(self, checkout):
        self.files = ((RESOURCES, checkout / "modules/luci-base/htdocs/luci-static/resources"),
                      ("/luci-static/", checkout / "themes/luci-theme-bootstrap/htdocs/luci-static"))

    @staticmethod
    def start(session, may_write, texts, view):
        environment = {
            "scriptname": "/cgi-bin/luci", "resource": RESOURCES.rstrip("/"), "pathinfo": "", "documentroot": "/www",
            "requestpath": [], "dispatchpath": [], "pollinterval": 5, "ubuspath": "/ubus/", "sessionid": session,
            "token": "", "nodespec": {"satisfied": True, "readonly": not may_write}}
        return (f"TR = {{}}; for (const [text, translated] of Object.entries({json.dumps(texts)})) "
                f"TR[sfh(text)] = translated; L = new LuCI({json.dumps(environment)}); "
                f"L.require('ui').then(ui => ui.instantiateView('zephran/{view}'));")
