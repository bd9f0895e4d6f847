# SPDX-License-Identifier: Apache-2.0
"""The settings, for administrators; they need the forms of the web interface itself."""
import pytest
from selenium.webdriver.common.by import By

pytestmark = pytest.mark.parametrize("runtime", ["luci"], indirect=True)
CONSENT, SPEED, DAYS = "service.automatic_update", "network.max_speed", "schedule.daysofweek"


@pytest.fixture(name="settings")
def fixture_settings(bench, home):
    bench.configure("schedule.daysofweek", "Saturday Sunday")
    bench.configure("schedule.starttime", "02:00")
    bench.configure("schedule.stoptime", "05:00")
    bench.configure("schedule.enabled", "1")
    home.open("owner", view="settings")
    home.wait_for(lambda: field(home, CONSENT), "the settings")
    return home


def field(home, option, kind="input:not([type=hidden])"):
    """The first field of an option, or None."""
    section, name = option.split(".")
    found = home.browser.find_elements(By.CSS_SELECTOR, f'[data-name="{name}"][id$="{section}-{name}"] {kind}')
    return found[0] if found else None


def changes(home):
    """What the page has written so far."""
    return {f"{given['section']}.{name}": value
            for method, given in home.front.calls if method == "set" for name, value in given["values"].items()}


def test_stored_values_are_shown(settings):
    assert not field(settings, CONSENT).is_selected()
    assert field(settings, "network.attempts").get_attribute("value") == "3"
    assert field(settings, SPEED).get_attribute("value") == ""
    assert field(settings, "schedule.enabled").is_selected()
    shown = {option: field(settings, f"schedule.{option}", "select").get_attribute("value")
             for option in ("starttime", "stoptime")}
    assert shown == {"starttime": "02:00", "stoptime": "05:00"}
    assert "Saturday" in settings.run("return document.querySelector('[data-name=daysofweek]').innerText")
    assert settings.notices() == []


def test_changed_values_are_saved(settings):
    settings.run("arguments[0].click()", field(settings, CONSENT))
    field(settings, SPEED).send_keys("250000")

    settings.click("Save")

    saved = settings.wait_for(lambda: SPEED in (saved := changes(settings)) and saved, "the speed")
    # The web interface writes each check box, also where it stays what it was.
    assert saved == {CONSENT: "1", SPEED: "250000", "schedule.enabled": "1", "network.resume": "0"}


def test_days_are_saved_as_one_text(settings):
    for _ in ("opens the list", "chooses"):
        settings.run("document.querySelector('[data-name=daysofweek] li[data-value=Monday]').click()")

    settings.click("Save")

    saved = settings.wait_for(lambda: DAYS in (saved := changes(settings)) and saved[DAYS], "the days")
    assert sorted(saved.split()) == ["Monday", "Saturday", "Sunday"]


def test_value_that_the_daemon_would_refuse_is_refused(settings):
    field(settings, SPEED).send_keys("fast")

    settings.click("Save")

    settings.wait_for(lambda: "cbi-input-invalid" in field(settings, SPEED).get_attribute("class"), "a marked field")
    assert settings.front.calls == []


@pytest.mark.parametrize("name", ["resident", "guest"])
def test_others_neither_see_nor_change_settings(home, name):
    home.open(name, view="settings")

    home.wait_for(lambda: "permission" in home.body() or "denied" in home.body(), "a refusal")
    assert field(home, CONSENT) is None
    session = home.front.log_in(name, {"resident": "let me", "guest": "look"}[name])
    changed = {"config": "zephran", "section": "service", "values": {"automatic_update": "1"}}
    refused = home.front.answer({"jsonrpc": "2.0", "id": 1, "method": "call",
                                 "params": [session, "uci", "set", changed]})
    assert refused["result"] == [6]
