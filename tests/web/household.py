# SPDX-License-Identifier: Apache-2.0
"""People before the page of a gateway."""
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from gateway_bench import TIMEOUT
from web_front import User, WebFront
from web_page import ACCESS, OWN_FILES, page

# More than the page has places for the focus.
TABS = 20
HOSTILE = "<img src=x onerror=document.title='taken'>\u202egnp.\u200b" + "v" * 250
GROUP, ALL = "luci-app-zephran", ("luci-app-zephran", "luci-app-zephran-settings")
USERS = {"resident": User("let me", read=(GROUP,), write=(GROUP,)), "guest": User("look", read=(GROUP,)),
         "owner": User("mine", read=ALL, write=ALL)}


def offer(bench, control, text="echo one", version="1.0", start=None, notes=None):
    """A release that waits for the consent of the user."""
    return offer_modules(bench, control, bench.script("one", text, version, notes), start=start)


def offer_modules(bench, control, *modules, start=None):
    action = bench.assign(*modules, type="soft")
    (start or bench.start)()
    control.wait_until_served()
    control.wait_for_pending()
    return action


class Household:
    """Opens the page for a user; the server and the daemon are those of the bench."""

    def __init__(self, bench, browser, runtime):
        self.bench = bench
        self.runtime = runtime
        self.browser = browser
        self.front = WebFront(bench.gateway, ACCESS, USERS, [OWN_FILES, *runtime.files], {})

    def close(self):
        self.browser.get("about:blank")
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.darken(False)
        self.front.close()

    def open(self, name="resident", language="en", texts=None, view="status"):
        session = self.front.log_in(name, USERS[name].password)
        start = self.runtime.start(session, bool(USERS[name].write), texts or {}, view)
        self.front.pages["/"] = page(self.runtime, start, language)
        self.browser.get(self.front.address + "/")

    def text(self, area):
        """What is to be read in one part of the page; nothing while it is hidden or not there."""
        found = self.browser.find_elements(By.CSS_SELECTOR, f"[data-area={area}]")
        return found[0].text if found else ""

    def body(self):
        """Everything that is to be read, in small letters."""
        return self.browser.find_element(By.TAG_NAME, "body").text.lower()

    def wait_for(self, condition, what):
        """Waits also while there is no daemon."""
        return self.bench.server.wait_for(condition, TIMEOUT, what)

    def wait_for_text(self, area, text):
        self.wait_for(lambda: text in self.text(area), f"'{text}' in {area}")

    def narrow(self, width):
        """Makes the screen that of a telephone; a window has a least width."""
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 640, "deviceScaleFactor": 1, "mobile": False})

    def darken(self, dark):
        """Has the system prefer dark pages."""
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark"}] if dark else []})

    def fits(self):
        """Whether nothing of the page is cut off or has to be moved into sight sideways."""
        return self.run("const page = document.documentElement; return page.scrollWidth <= page.clientWidth")

    def run(self, script, *given):
        """The value that a script returns in the browser."""
        return self.browser.execute_script(script, *given)

    def press(self, *keys):
        """Presses keys wherever the page has its focus."""
        ActionChains(self.browser).send_keys(*keys).perform()

    def focused(self):
        """The text of what has the focus."""
        return self.browser.switch_to.active_element.text

    def tab_to(self, text):
        """Goes on with the key Tab until something with this text has the focus."""
        for _ in range(TABS):
            if self.focused() == text:
                return
            self.press(Keys.TAB)
        raise AssertionError(f"the focus never comes to '{text}'")

    def buttons(self):
        """Those of the page itself."""
        found = self.browser.find_elements(By.CSS_SELECTOR, ".zephran button")
        return [each.text for each in found if each.is_displayed()]

    def notices(self):
        """What the web interface itself reports above the page."""
        return [each.text for each in self.browser.find_elements(By.CSS_SELECTOR, ".alert-message")]

    def click(self, text):
        next(each for each in self.browser.find_elements(By.TAG_NAME, "button") if each.text == text).click()
