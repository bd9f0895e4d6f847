# SPDX-License-Identifier: Apache-2.0
"""People before the page of a gateway."""
import json

from selenium.webdriver.common.by import By

from gateway_bench import PROJECT, TIMEOUT
from web_front import User, WebFront

APP = PROJECT / "packaging/openwrt/luci-app-zephran"
GROUP = "luci-app-zephran"
USERS = {"resident": User("let me", read=(GROUP,), write=(GROUP,)), "guest": User("look", read=(GROUP,))}
PAGE = """<!DOCTYPE html>
<html lang="{language}"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark"><title>Gateway</title>{scripts}</head>
<body><div id="indicators"></div><main id="maincontent"><div id="view"></div></main>
<script>{start}</script></body></html>
"""
RESOURCES = "/luci-static/resources/"


class ThinRuntime:
    """The test's own stand-in for the web interface."""

    files = (("/test/", PROJECT / "tests/web"),)
    scripts = '<script src="/test/loader.js"></script>'

    @staticmethod
    def start(session, may_write, texts):
        return (f"session = {json.dumps(session)}; mayWrite = {json.dumps(may_write)}; "
                f"catalogue = {json.dumps(texts)}; start('zephran.status');")


class WholeRuntime:
    """The web interface itself, from a checkout."""

    scripts = "".join(f'<script src="{RESOURCES}{name}.js"></script>' for name in ("cbi", "promis.min", "luci"))

    def __init__(self, checkout):
        self.files = ((RESOURCES, checkout / "modules/luci-base/htdocs/luci-static/resources"),)

    @staticmethod
    def start(session, may_write, texts):
        environment = {
            "scriptname": "/cgi-bin/luci", "resource": RESOURCES.rstrip("/"), "pathinfo": "", "documentroot": "/www",
            "requestpath": [], "dispatchpath": [], "pollinterval": 5, "ubuspath": "/ubus/", "sessionid": session,
            "token": "", "nodespec": {"satisfied": True, "readonly": not may_write}}
        return (f"L = new LuCI({json.dumps(environment)}); "
                "L.require('ui').then(ui => ui.instantiateView('zephran/status'));")


class Household:
    """Opens the page for a user; the server and the daemon are those of the bench."""

    def __init__(self, bench, browser, runtime):
        self.bench = bench
        self.runtime = runtime
        self.browser = browser
        self.front = WebFront(bench.gateway.bus, APP / "root/usr/share/rpcd/acl.d", USERS,
                              [(RESOURCES, APP / "htdocs/luci-static/resources"), *runtime.files], {})

    def close(self):
        self.browser.get("about:blank")
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.front.close()

    def open(self, name="resident", language="en", texts=None):
        session = self.front.log_in(name, USERS[name].password)
        start = self.runtime.start(session, bool(USERS[name].write), texts or {})
        self.front.pages["/"] = PAGE.replace("{language}", language).replace(
            "{scripts}", self.runtime.scripts).replace("{start}", start)
        self.browser.get(self.front.address + "/")

    def text(self, area):
        """What is to be read in one part of the page; nothing while it is hidden or not there."""
        found = self.browser.find_elements(By.CSS_SELECTOR, f"[data-area={area}]")
        return found[0].text if found else ""

    def wait_for_text(self, area, text):
        # The page is waited for also while there is no daemon.
        self.bench.server.wait_for(lambda: text in self.text(area), TIMEOUT, f"'{text}' in {area}")

    def narrow(self, width):
        """Makes the screen that of a telephone; a window has a least width."""
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 640, "deviceScaleFactor": 1, "mobile": False})

    def buttons(self):
        """Those of the page itself."""
        found = self.browser.find_elements(By.CSS_SELECTOR, ".zephran button")
        return [each.text for each in found if each.is_displayed()]

    def click(self, text):
        next(each for each in self.browser.find_elements(By.TAG_NAME, "button") if each.text == text).click()
