# SPDX-License-Identifier: Apache-2.0
"""Target ids with special characters."""
import pytest

from outcomes import assert_closed_once, texts_of


@pytest.fixture(name="home")
def fixture_home(make_home, label):
    return make_home(device=f"00:13:9d:{label}")


def test_links_of_an_id_with_colons_come_back_escaped_and_are_followed(home):
    daemon = home.start(properties={"serial": "A-17"})
    known = home.wait_until_registered()
    # More messages than the history shows.
    modules = [home.script(name, f"echo {name}") for name in ("one", "two", "three")]
    action = home.assign(*modules)
    home.poll_now()

    record = assert_closed_once(home, action)

    escaped = home.device.replace(":", "%3A")
    assert known.attributes["serial"] == "A-17"
    for method, resource in (("PUT", "configData"), ("GET", "deploymentBase/"), ("POST", "deploymentBase/")):
        daemon.wait_for_line(rf"method={method} url=\S+/controller/v1/{escaped}/{resource}")
    # Links to artifacts contain the unescaped id.
    daemon.wait_for_line(rf"^> GET \S+/controller/v1/{home.device}/softwaremodules/\d+/artifacts/one\.sh ")
    assert {"one", "two", "three"} <= set(record.reported)
    assert texts_of(record, "finished") == [["Deployment successful"]]


def test_cancel_reaches_an_id_with_colons(home):
    home.configure("service.automatic_update", "0")
    home.start()
    home.wait_until_registered()
    action = home.assign(home.script("one", "touch /tmp/state-ran"), type="soft")
    home.poll_now()
    home.wait_until(lambda: home.server.action(action).status == "retrieved", "the offer being read")

    home.server.cancel(action)
    home.poll_now()
    assert_closed_once(home, action, "canceled")

    assert not (home.gateway.tmp / "state-ran").exists()
