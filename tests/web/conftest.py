# SPDX-License-Identifier: Apache-2.0
"""Fixtures: a browser on the page of a gateway with the real daemon on it."""
import os
import pathlib

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

from bench import Bench
from household import Household
from local_control import RARE, LocalControl
from pki import Pki
from web_page import ThinRuntime, WholeRuntime


@pytest.fixture(name="pki", scope="session")
def fixture_pki(tmp_path_factory):
    return Pki(tmp_path_factory.mktemp("pki"), client_name="gw-1")


@pytest.fixture(name="bench")
def fixture_bench(tmp_path, pki):
    bench = Bench(tmp_path, pki, poll=RARE)
    bench.configure("service.bus_extended", "1")
    bench.configure("service.automatic_update", "0")
    bench.configure("network.attempts", "3")
    yield bench
    bench.close()


@pytest.fixture(name="control")
def fixture_control(bench):
    return LocalControl(bench)


@pytest.fixture(name="browser", scope="session")
def fixture_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu"):
        options.add_argument(argument)
    driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
    yield driver
    driver.quit()


@pytest.fixture(name="runtime", params=["thin", "luci"])
def fixture_runtime(request):
    """What the page runs in; the web interface itself where LUCI_DIR names a checkout of it."""
    if request.param == "thin":
        return ThinRuntime()
    if not os.environ.get("LUCI_DIR"):
        pytest.skip("LUCI_DIR names no checkout of LuCI")
    return WholeRuntime(pathlib.Path(os.environ["LUCI_DIR"]))


@pytest.fixture(name="home")
def fixture_home(bench, browser, runtime):
    home = Household(bench, browser, runtime)
    yield home
    home.close()
