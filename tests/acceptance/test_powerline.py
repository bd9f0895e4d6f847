# SPDX-License-Identifier: Apache-2.0
"""An adapter on the powerline network is a target of its own, reached with its gateway's certificate."""
from gateway import powerline_image
from outcomes import poll_again, texts_of, was_closed_once
from powerline_network import NEW, OLD, WITH_SERIAL, PowerlineNetwork


def test_adapter_and_its_gateway_are_two_targets(home):
    network = PowerlineNetwork(home)
    serial = f"sn-{home.label}"
    adapter = network.line.add(WITH_SERIAL, serial=serial, firmware=OLD, name="living room")
    daemon = network.start()
    network.wait_for_agents(home.device, serial)
    home.wait_until_registered()
    known = home.wait_until(lambda: (found := home.server.target(serial)) and found.attributes and found,
                            "the adapter and its attributes")
    image = home.module("plc_ghn", "adapter", NEW, {"plc.bin": powerline_image(NEW) + home.label.encode()})
    script = home.script("one", "echo fine")
    of_adapter, of_gateway = home.server.assign(serial, [image]), home.assign(script)
    home.poll_now()

    for action in (of_adapter, of_gateway):
        home.wait_for_end(action)
    poll_again(home)
    records = [was_closed_once(home, action) for action in (of_adapter, of_gateway)]

    assert dict(known.attributes).items() >= {"parent": home.device, "device_type": "ghn",
                                              "device_name": "living room", "firmware_version": OLD}.items()
    assert adapter.firmware == NEW
    for record, own, other in zip(records, (image, script), (script, image), strict=True):
        assert ["Installation started", own.chunk] in texts_of(record, "running")
        assert other.chunk not in record.reported
        assert texts_of(record, "finished") == [["Deployment successful"]]
    assert [home.server.target(each).update_status for each in (serial, home.device)] == ["in_sync"] * 2
    assert home.gateway.leftovers() == []
    assert daemon.is_running()
