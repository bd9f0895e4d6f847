# SPDX-License-Identifier: Apache-2.0
"""New firmware for the gateway itself, which reboots in the middle of its deployment."""
from gateway import firmware_image
from outcomes import assert_closed_once, texts_of

OLD, NEW, OTHER = "2.0_20250101", "2.1_20260101", "2.0.5_20250601"


def firmware(home, announced, contained):
    # The server may fail on concurrent uploads of the same content.
    image = firmware_image(contained) + home.label.encode()
    return home.module("os", "firmware", announced, {"fw.bin": image})


def supervise(home):
    home.gateway.install_firmware(OLD)
    supervisor = home.supervise()
    home.wait_until_registered()
    return supervisor


def test_deployment_goes_on_after_the_reboot_of_its_firmware(home):
    supervisor = supervise(home)
    new, settings = firmware(home, NEW, NEW), home.script("settings", "echo kept")
    action = home.assign(settings, new)
    home.poll_now()

    record = assert_closed_once(home, action)

    assert home.gateway.firmware == NEW
    assert supervisor.reboots == 1
    assert len(home.gateway.calls("sysupgrade")) == 1
    started = [["Installation started", each.chunk] for each in (new, settings)]
    assert [texts for texts in texts_of(record, "running") if texts[0] == "Installation started"] == started
    assert ["Chunk deployed", settings.chunk, "kept"] in texts_of(record, "running")
    assert texts_of(record, "finished") == [["Deployment successful"]]
    assert home.server.target(home.device).update_status == "in_sync"
    assert home.gateway.leftovers() == []


def test_firmware_that_comes_back_with_another_version_is_one_failure(home):
    supervisor = supervise(home)
    wrong, settings = firmware(home, NEW, OTHER), home.script("settings", "echo never")
    failing = home.assign(wrong, settings)
    home.poll_now()

    record = assert_closed_once(home, failing, "error")
    after_failure = home.server.target(home.device).update_status
    following = home.assign(home.script("following", "echo fine"))
    home.poll_now()
    assert_closed_once(home, following)

    assert texts_of(record, "error") == [[
        "Expected version does not match the version that was found",
        f"expected_version: {NEW}\nfound_version: {OTHER}", wrong.chunk]]
    assert settings.chunk not in record.reported
    assert after_failure == "error"
    assert supervisor.reboots == 1
    assert home.gateway.firmware == OTHER
    assert home.option("version_os") is None
    assert home.gateway.leftovers() == []
