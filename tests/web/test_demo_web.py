# SPDX-License-Identifier: Apache-2.0
"""The demonstration that leaves the decision to whoever opens the page."""
import os
import re
import subprocess
import sys
import threading

import pytest
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

from gateway_bench import BUILD, PROJECT, TIMEOUT

ADDRESS = re.compile(r"http://127\.0\.0\.1:\d+/")


@pytest.fixture(name="demo")
def fixture_demo(tmp_path):
    """Starts the demonstration in these surroundings; ends it if the test does not."""
    started = []

    def start(**surroundings):
        quiet = {name: value for name, value in os.environ.items() if name not in ("BROWSER", "DISPLAY", "LUCI_DIR")}
        started.append(subprocess.Popen(
            [sys.executable, "-B", "-P", "-m", "demo", "--build-dir", str(BUILD), "--web"], text=True,
            env={**quiet, "PYTHONPATH": str(PROJECT / "devkit"), "TMPDIR": str(tmp_path), "PYTHONUNBUFFERED": "1",
                 **surroundings},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT))
        return started[0]
    yield start
    for process in started:
        process.terminate()
        process.wait(TIMEOUT)
        process.stdout.close()


def read_until(process, pattern):
    """What the demonstration prints up to a line with this pattern."""
    giving_up = threading.Timer(TIMEOUT, process.kill)
    giving_up.start()
    read = ""
    for line in process.stdout:
        read += line
        if re.search(pattern, line):
            giving_up.cancel()
            return read
    raise AssertionError(f"it never printed {pattern}:\n{read}")


def test_rollout_waits_for_the_click(demo, browser):
    process = demo()
    begin = read_until(process, "luci-app-zephran")
    assert "Open this address in one on this machine" in " ".join(begin.split())

    browser.get(ADDRESS.search(begin)[0])
    waiting = WebDriverWait(browser, TIMEOUT)
    for text in ("Install now", "Yes, install it now"):
        waiting.until(lambda _, text=text: [
            each for each in browser.find_elements(By.TAG_NAME, "button") if each.text == text])[0].click()

    rest = process.stdout.read()
    assert process.wait(TIMEOUT) == 0, rest
    assert "The rollout succeeded." in rest
    assert "downloads and reports before that: 0" in " ".join(rest.split())


def test_page_is_opened_where_there_is_a_browser(demo, tmp_path):
    opened = tmp_path / "opened"
    program = tmp_path / "browser"
    program.write_text(f"#!/bin/sh\necho \"$1\" >{opened}\n")
    program.chmod(0o755)

    begin = read_until(process := demo(BROWSER=str(program)), ADDRESS)

    for line in process.stdout:
        begin += line
        if opened.exists():
            break
    assert opened.read_text().strip() == ADDRESS.search(begin)[0]
    assert "No browser" not in begin
