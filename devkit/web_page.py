# SPDX-License-Identifier: Apache-2.0
"""The pages of the package for the gateway's web interface, and what they run in."""
from __future__ import annotations

import json
from collections.abc import Mapping
from pathlib import Path
from typing import Protocol

HERE = Path(__file__).resolve().parent
APP = HERE.parent / "packaging/openwrt/luci-app-zephran"
ACCESS = APP / "root/usr/share/rpcd/acl.d"
RESOURCES = "/luci-static/resources/"
OWN_FILES = (RESOURCES, APP / "htdocs/luci-static/resources")
PAGE = """<!DOCTYPE html>
<html lang="{language}"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark"><title>Gateway</title>{head}</head>
<body><div id="indicators"></div><main class="container" id="maincontent"><h1>Gateway</h1><div id="view"></div></main>
<script>{start}</script></body></html>
"""


class Runtime(Protocol):
    """What a page runs in.

    files  which directory stands for the beginning of a path, apart from the package's own
    head   what a page has to load
    """

    files: tuple[tuple[str, Path], ...]
    head: str

    def start(self, session: str, may_write: bool, texts: Mapping[str, str], view: str) -> str:
        """The script that shows a view to the user of a session, in the language of the texts."""


class ThinRuntime:
    """A stand-in for the web interface that has just what a view needs to run."""

    files = (("/kit/", HERE),)
    head = '<script src="/kit/web_loader.js"></script>'

    def start(self, session: str, may_write: bool, texts: Mapping[str, str], view: str) -> str:
        """The script that shows a view."""
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

    def __init__(self, checkout: Path) -> None:
        self.files: tuple[tuple[str, Path], ...] = (
            (RESOURCES, checkout / "modules/luci-base/htdocs/luci-static/resources"),
            ("/luci-static/", checkout / "themes/luci-theme-bootstrap/htdocs/luci-static"))

    def start(self, session: str, may_write: bool, texts: Mapping[str, str], view: str) -> str:
        """The script that shows a view."""
        environment = {
            "scriptname": "/cgi-bin/luci", "resource": RESOURCES.rstrip("/"), "pathinfo": "", "documentroot": "/www",
            "requestpath": [], "dispatchpath": [], "pollinterval": 5, "ubuspath": "/ubus/", "sessionid": session,
            "token": "", "nodespec": {"satisfied": True, "readonly": not may_write}}
        return (f"TR = {{}}; for (const [text, translated] of Object.entries({json.dumps(texts)})) "
                f"TR[sfh(text)] = translated; L = new LuCI({json.dumps(environment)}); "
                f"L.require('ui').then(ui => ui.instantiateView('zephran/{view}'));")


def page(runtime: Runtime, start: str, language: str = "en") -> str:
    """The text of a page that runs such a script."""
    return PAGE.replace("{language}", language).replace("{head}", runtime.head).replace("{start}", start)
