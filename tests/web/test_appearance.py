# SPDX-License-Identifier: Apache-2.0
"""The page for those who see little, have a small screen, or no mouse, and with names that want to do harm."""
import pytest
from selenium.webdriver.common.keys import Keys

from gateway_bench import PROJECT
from hawkbit_server import Slow
from household import HOSTILE, offer
from powerline_network import OLD, SERIAL, WITH_SERIAL, PowerlineNetwork
from texts import catalogue

AXE = PROJECT / "build/web-tools/axe.min.js"


@pytest.fixture(name="axe", scope="session")
def fixture_axe():
    if not AXE.exists():
        pytest.skip("axe-core is missing: run script/lib/install_axe, which needs npm and its registry")
    return AXE.read_text(encoding="utf-8")


def findings(home, axe):
    """What axe-core has against the page; what is around it is not the page's."""
    home.run(axe)
    found = home.browser.execute_async_script("axe.run('.zephran').then(arguments[arguments.length - 1])")
    assert len(found["passes"]) > 10
    return [(each["id"], node["html"], node["any"]) for each in found["violations"] for node in each["nodes"]]


def test_names_of_the_server_are_text(bench, control, home):
    offer(bench, control, version=HOSTILE)
    home.narrow(360)

    home.open()

    home.wait_for_text("release", "<img src=x onerror=document.title='taken'>\ufffdgnp.\ufffd" + "v" * 250)
    assert home.browser.title == "Gateway"
    assert home.run("return document.images.length") == 0
    assert home.fits()


def test_names_stay_text_while_they_are_installed(bench, control, home):
    bench.server.order("artifact", Slow(20_000))
    offer(bench, control, "exit 0\n#" + "x" * 200_000, version=HOSTILE)
    home.narrow(360)
    home.open()
    control.accept_deployment()

    home.wait_for_text("progress", "Step 1 of 1: Script <img src=x onerror=document.title='taken'>\ufffdgnp.")
    home.wait_for_text("progress", "per second")
    assert home.browser.title == "Gateway"
    assert home.run("return document.images.length") == 0
    assert home.fits()


@pytest.mark.parametrize("language", ["en", "de"])
def test_everything_fits_on_a_telephone(bench, control, home, language):
    offer(bench, control)
    home.narrow(360)

    home.open(language=language, texts=catalogue("po/de/zephran.po") if language == "de" else {})

    home.wait_for_text("release", "1.0")
    assert home.run("return document.documentElement.clientWidth") == 360
    assert home.fits()
    home.run("document.querySelector('[data-area=choices] button').click()")
    home.wait_for(lambda: "Yes, install it now" in home.buttons() or "Ja, jetzt installieren" in home.buttons(),
                  "the second question")
    assert home.fits()


def test_keyboard_is_enough(bench, control, home):
    action = offer(bench, control)
    home.open()
    home.wait_for_text("release", "Script 1.0")

    home.tab_to("Install now")
    home.press(Keys.ENTER)
    home.wait_for(lambda: home.focused() == home.run("return document.getElementById('zephran-question').textContent"),
                  "the question with the focus")
    home.tab_to("Yes, install it now")
    home.press(Keys.SPACE)

    bench.wait_for_end(action)
    home.wait_for_text("outcome", "The last update was installed.")


def test_roles_and_names(bench, control, home):
    offer(bench, control)
    home.open()
    home.wait_for_text("release", "Script 1.0")

    assert home.run("return document.querySelector('[data-area=sentence]').getAttribute('role')") == "status"
    assert home.run("return document.querySelector('[data-area=message]').getAttribute('role')") == "alert"
    bar = home.browser.find_element("css selector", "[role=progressbar]")
    assert bar.get_attribute("aria-label") == "Progress of the download"
    assert home.run("return document.querySelector('label[for=zephran-hours]').control.tagName") == "SELECT"
    assert home.run("return document.getElementById("
                    "document.querySelector('[data-area=release]').getAttribute('aria-labelledby')).textContent"
                    ) == "The update"


@pytest.mark.parametrize("dark", [False, True], ids=["light", "dark"])
def test_nothing_is_found_against_a_pending_release(bench, control, home, axe, dark):
    home.darken(dark)
    offer(bench, control, notes={"Changes": "so many that they have to be scrolled\n" * 30})
    home.open()
    home.wait_for_text("release", "Changes")

    assert findings(home, axe) == []
    home.click("Install now")
    assert findings(home, axe) == []


def test_nothing_is_found_against_progress(bench, control, home, axe):
    bench.server.order("artifact", Slow(20_000))
    offer(bench, control, "exit 0\n#" + "x" * 400_000)
    home.open()
    control.accept_deployment()
    home.wait_for_text("progress", "per second")

    assert findings(home, axe) == []


def test_nothing_is_found_against_a_failure(bench, control, home, axe):
    action = offer(bench, control, "echo broken >&2; exit 3")
    home.open()
    control.accept_deployment()
    bench.wait_for_end(action)
    home.wait_for_text("outcome", "The last update has failed.")

    assert findings(home, axe) == []


def test_dark_page_is_dark(bench, control, home):
    offer(bench, control)
    home.darken(True)

    home.open()

    home.wait_for_text("release", "Script 1.0")
    lightness = ("const color = document.querySelector('.zephran'); const canvas = document.createElement('canvas');"
                 "const pen = canvas.getContext('2d'); pen.fillStyle = getComputedStyle(color).color;"
                 "pen.fillRect(0, 0, 1, 1); return pen.getImageData(0, 0, 1, 1).data[0]")
    assert home.run(lightness) > 128


def test_adapters_are_shown_with_their_state(bench, control, home):
    network = PowerlineNetwork(bench)
    network.add_with_serial()
    network.start()
    network.wait_for_agents("gw-1", SERIAL)

    home.open()

    home.wait_for_text("adapters", f"living room: firmware {OLD}")
    assert WITH_SERIAL not in home.text("release")
