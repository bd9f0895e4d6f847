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
<meta name="color-scheme" content="light dark"><title>Gateway</title></head>
<body><main id="view"></main><script src="/test/loader.js"></script>
<script>window.session = {session}; window.mayWrite = {may_write}; window.catalogue = {texts};
 start("zephran/status".replace("/", "."));</script>
</body></html>
"""


class Household:
    """Opens the page for a user; the server and the daemon are those of the bench."""

    def __init__(self, bench, browser):
        self.bench = bench
        self.browser = browser
        self.front = WebFront(bench.gateway.bus, APP / "root/usr/share/rpcd/acl.d", USERS, {
            "/resources/": APP / "htdocs/luci-static/resources", "/test/": PROJECT / "tests/web"}, {})

    def close(self):
        self.browser.get("about:blank")
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.front.close()

    def open(self, name="resident", language="en", texts=None):
        session = self.front.log_in(name, USERS[name].password)
        self.front.pages["/"] = PAGE.replace("{session}", json.dumps(session)).replace(
            "{may_write}", json.dumps(bool(USERS[name].write))).replace(
            "{language}", language).replace("{texts}", json.dumps(texts or {}))
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
        return [each.text for each in self.browser.find_elements(By.TAG_NAME, "button") if each.is_displayed()]

    def click(self, text):
        next(each for each in self.browser.find_elements(By.TAG_NAME, "button") if each.text == text).click()
