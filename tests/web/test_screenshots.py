# SPDX-License-Identifier: Apache-2.0
"""Pictures of the page for people to look at, in build/screens; two of them stand in docs/."""
from base64 import b64decode

import pytest

from gateway_bench import PROJECT
from hawkbit_server import Slow
from web_page import WholeRuntime

TARGET = PROJECT / "build/screens"
WIDTH = 640
FIRMWARE = 3_000_000


@pytest.fixture(name="take")
def fixture_take(home, runtime):
    """Keeps a picture of the page as it is now."""
    def take(name):
        TARGET.mkdir(parents=True, exist_ok=True)
        area = home.run("const box = document.getElementById('maincontent').getBoundingClientRect();"
                        "return { x: 0, y: 0, width: innerWidth, height: Math.ceil(box.bottom) + 10, scale: 1 }")
        taken = home.browser.execute_cdp_cmd("Page.captureScreenshot", {"format": "png", "clip": area})
        path = TARGET / f"{name}-{'luci' if isinstance(runtime, WholeRuntime) else 'thin'}.png"
        path.write_bytes(b64decode(taken["data"]))
        return path
    home.narrow(WIDTH)
    return take


def test_release_from_consent_to_result(bench, control, home, take):
    bench.server.order("artifact", Slow(300_000), times=None)
    notes = {"What is new": "Faster pairing of new devices.\nFewer lost messages.", "Takes": "about two minutes"}
    action = bench.assign(bench.module("zw", "radio", "6.8", {"radio.bin": b"\0" * FIRMWARE}, notes),
                          bench.script("settings", "echo done", "1.4"), type="soft")
    bench.start()
    control.wait_until_served()
    control.wait_for_pending()
    home.open()
    home.wait_for_text("release", "Z-Wave radio 6.8")
    pictures = [take("pending")]

    home.click("Install now")
    home.click("Yes, install it now")
    home.wait_for(lambda: home.run("return document.querySelector('[role=progressbar]').ariaValueNow >= 30"),
                  "a good part of the download")
    pictures.append(take("progress"))
    bench.wait_for_end(action)
    home.wait_for_text("outcome", "The last update was installed.")
    pictures.append(take("result"))

    assert all(path.read_bytes().startswith(b"\x89PNG") for path in pictures)
    assert len({path.read_bytes() for path in pictures}) == len(pictures)
